// The shared half of the conversion tests: see the header.

#include "icnv_case.h"

#include <cstdlib>

#include "supos_allocation.h"

Case_Setup::~Case_Setup()
{
    for (IcnvTable &table : Tables) {
        while (table.flat != nullptr) {
            IcnvFlat *const next = table.flat->next;
            SupOS_DeallocateRE(table.flat);
            table.flat = next;
        }
    }
    if (IcnvRoot == &Catalogue) IcnvRoot = nullptr;
}

void Case_Setup::Use(u32 TableCount)
{
    static u8 behindAnEmptyFile; // a table of no bytes is a table all the same
    for (u32 i = 0; i < TableCount; ++i) {
        Tables[i].data = Data[i].empty() ? &behindAnEmptyFile : Data[i].data();
        Tables[i].size = static_cast<u32>(Data[i].size());
    }
    Catalogue.tables = Tables;
    Catalogue.tableCount = TableCount;
    Catalogue.leadRanges = Lead;
    Catalogue.eucWidths = Widths;
    IcnvRoot = &Catalogue;
    SupOS_IcnvMakePlan(&Plan, &Descriptor);
    IcnvPool[0] = Descriptor; // for exported calls
    SupOS_IcnvMakePlan(&IcnvPlans[0], &Descriptor);

    const auto tableOf = [&](u32 Handle) -> Ref_Conversion::Table {
        if (Handle == 0 || Handle > TableCount) return {};
        return Data[Handle - 1];
    };
    const IcnvDescriptor &d = Descriptor;
    Reference = {};
    Reference.Mode = d.mode;
    Reference.Doubles = d.table2 == 0                ? Ref_Conversion::DoublesNone
                        : d.table2 == ICNV_TBL_SAME  ? Ref_Conversion::DoublesSame
                        : d.table2 == ICNV_TBL_SUBST ? Ref_Conversion::DoublesSubstitute
                                                     : Ref_Conversion::DoublesTable;
    Reference.Single = tableOf(d.table1);
    Reference.Double = tableOf(d.table2);
    Reference.Record[0] = tableOf(d.table1);
    Reference.Record[1] = tableOf(d.table2);
    Reference.Record[2] = tableOf(d.fromKind);
    Reference.FromKind = d.fromKind;
    Reference.FromEncoding = d.fromEncoding;
    Reference.ToKind = d.toKind;
    Reference.ToEncoding = d.toEncoding;
    if (d.index < ICNV_LEAD_ROWS) {
        Reference.LeadCount = Lead[d.index].count;
        for (u32 i = 0; i < 3; ++i) Reference.Lead[i] = {Lead[d.index].ranges[i].low, Lead[d.index].ranges[i].high};
    }
    if (d.index >= 1 && d.index <= ICNV_EUC_ROWS) {
        Reference.EucCount = Widths[d.index - 1].count;
        for (u32 i = 0; i < 4; ++i) Reference.EucWidth[i] = Widths[d.index - 1].widths[i];
    }
}

namespace
{

// A block that ends where its bytes end, so that a sanitizer sees one byte too far.
struct Block {
    u8 *Start;
    u8 *Bytes;
    Block(const Case_Bytes &From, size_t Align)
    {
        void *place = nullptr;
        if (posix_memalign(&place, 64, Align + From.size() + (From.empty() ? 1 : 0)) != 0) abort();
        Start = static_cast<u8 *>(place);
        Bytes = Start + Align;
        if (!From.empty()) memcpy(Bytes, From.data(), From.size());
    }
    ~Block() { free(Start); }
    Block(const Block &) = delete;
    Block &operator=(const Block &) = delete;
};

std::string hex(const Case_Bytes &Bytes)
{
    std::string text;
    char digits[4];
    for (const u8 byte : Bytes) {
        snprintf(digits, sizeof digits, "%02X ", byte);
        text += digits;
    }
    return text;
}

} // namespace

Case_Answer Case_Run(const Case_Setup &Setup, const Case_Bytes &Source, const Case_Bytes &Target, size_t SourceAlign,
                     size_t TargetAlign, Case_Way Way)
{
    const Block source(Source, SourceAlign);
    const Block target(Target, TargetAlign);
    const u8 *in = source.Bytes;
    u8 *out = target.Bytes;
    u32 length = static_cast<u32>(Source.size());
    u32 room = static_cast<u32>(Target.size());
    const IcnvPlan *const plan = Way != Case_Plain ? &Setup.Plan : nullptr;
    const IcnvDescriptor &d = Setup.Descriptor;
    Case_Answer answer;
    if (Way == Case_Straight && length != 0) { // which says what is left; nothing is what an empty source leaves
        IcnvPlans[0].straight = SupOS_IcnvStraightOf(&IcnvPlans[0], &IcnvPool[0]); // of the form that is in use now
        answer.Code = SupOS_IcnvCode(ICNV_FIRST_CODE, reinterpret_cast<const char **>(&in), &length,
                                     reinterpret_cast<char **>(&out), &room);
        if (length != 0) abort();
        room = static_cast<u32>(Target.size()) - room;
    } else if (d.mode != 0)
        answer.Code = SupOS_CodeConv(&in, &length, &out, &room, d.table1, d.table2, d.mode, d.index, plan);
    else
        answer.Code = SupOS_NewCodeConv(&in, &length, &out, &room, &d.table1, d.fromKind, d.fromEncoding, d.toKind,
                                        d.toEncoding, d.index, plan);
    answer.SourceMoved = static_cast<size_t>(in - source.Bytes);
    answer.TargetMoved = static_cast<size_t>(out - target.Bytes);
    answer.Written = room;
    answer.Target.assign(target.Bytes, target.Bytes + Target.size());
    return answer;
}

std::string Case_Compare(const Case_Setup &Setup, const Case_Bytes &Source, const Case_Bytes &Target,
                         const Case_Answer &Engine)
{
    const Ref_Result wanted = Ref_Convert(Setup.Reference, Source, Target);
    if (wanted.Code == Engine.Code && wanted.SourceMoved == Engine.SourceMoved &&
        wanted.TargetMoved == Engine.TargetMoved && wanted.Written == Engine.Written && wanted.Target == Engine.Target)
        return "";
    const IcnvDescriptor &d = Setup.Descriptor;
    char text[512];
    size_t at = 0;
    while (at < wanted.Target.size() && wanted.Target[at] == Engine.Target[at]) ++at;
    snprintf(text, sizeof text,
             "%s: mode %u tables %u %u, %u/%u to %u/%u, index %u: code %d wanted %d, source %zu wanted %zu, target %zu "
             "wanted %zu, written %zu wanted %zu, first difference at %zu of %zu\nsource: ",
             SupOS_IcnvKernels()->name, d.mode, d.table1, d.table2, d.fromKind, d.fromEncoding, d.toKind, d.toEncoding,
             d.index, Engine.Code, wanted.Code, Engine.SourceMoved, wanted.SourceMoved, Engine.TargetMoved,
             wanted.TargetMoved, Engine.Written, wanted.Written, at, Target.size());
    return text + hex(Source) + "\nengine: " + hex(Engine.Target) + "\nwanted: " + hex(wanted.Target);
}
