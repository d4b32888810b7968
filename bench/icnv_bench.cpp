// Code-page conversion beside ICU, the C library's iconv and memcpy, through the exported calls, with tracing off.
//
//     icnv_bench [--only TEXT] [--quick] [--form plain|avx2|vbmi]
//
// One run measures all competitors in turn on the same text, so only the ratios of one run mean something. Figures are
// bytes of source a second. ICU's figure is the better of two ways: the converting call with a pivot, and a pair of
// calls through UTF-16 (or the direct UTF-8 calls where one side is UTF-16). Texts are prose of the kind that the code
// sets are for; a result is compared with ICU's before anything is timed.

#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iconv.h>
#include <string>
#include <vector>

#include "scratch_root.h"
#include "supos_conversion.h"
#include "suppr_names.h"
#ifdef ICNV_BENCH_FORMS
#include "supos_ikern_int.h"
#endif

namespace
{

const char *const english =
    "The morning shift begins at six, when the first orders of the day are read from the queue and checked against "
    "stock. Each record carries an account number, a date and the name of the clerk who entered it; what cannot be "
    "matched goes back with a short note. By noon some 4,200 items have passed, and totals are printed for the "
    "office. ";

const char *const german =
    "Die Frühschicht beginnt um sechs Uhr; dann werden die ersten Aufträge des Tages gelesen und gegen die Bestände "
    "geprüft. Jeder Satz trägt eine Kontonummer, ein Datum und den Namen der Person, die ihn erfaßt hat. Was sich "
    "nicht "
    "zuordnen läßt, geht mit einer kurzen Erklärung zurück. Bis zum Mittag sind etwa 4200 Stück über die Straße "
    "gegangen. ";

const char *const japanese =
    "朝の仕事は六時に始まる。その日の最初の注文が読み込まれ、在庫と照合される。それぞれの記録には口座番号と日付、"
    "入力した人の名前が書かれている。照合できないものは、短い説明を付けて返される。正午までに4200件ほどが処理され、"
    "合計がOSAKAの事務所で印刷される。午後は新しい商品の登録と、来週の予定の確認を行うことになっている。";

struct Case {
    const char *Title;
    const char *From, *To; // names of this library
    const char *IcuFrom, *IcuTo; // UTF-16 is told by "UTF-16LE"
    const char *IconvFrom, *IconvTo;
    const char *Text;
};

const Case cases[] = {
    {"037 > 850", "QMX-037", "QMX-850", "ibm-37", "ibm-850", "CP037", "CP850", german},
    {"850 > 037", "QMX-850", "QMX-037", "ibm-850", "ibm-37", "CP850", "CP037", german},
    {"037 > UCS-2", "QMX-037", "UCS-2", "ibm-37", "UTF-16LE", "CP037", "UTF-16LE", german},
    {"037 > UTF-8", "QMX-037", "UTF-8", "ibm-37", "UTF-8", "CP037", "UTF-8", german},
    {"UTF-8 > 037", "UTF-8", "QMX-037", "UTF-8", "ibm-37", "UTF-8", "CP037", german},
    {"UTF-8 > UCS-2 ascii", "UTF-8", "UCS-2", "UTF-8", "UTF-16LE", "UTF-8", "UTF-16LE", english},
    {"UTF-8 > UCS-2 latin", "UTF-8", "UCS-2", "UTF-8", "UTF-16LE", "UTF-8", "UTF-16LE", german},
    {"UTF-8 > UCS-2 kanji", "UTF-8", "UCS-2", "UTF-8", "UTF-16LE", "UTF-8", "UTF-16LE", japanese},
    {"UCS-2 > UTF-8 ascii", "UCS-2", "UTF-8", "UTF-16LE", "UTF-8", "UTF-16LE", "UTF-8", english},
    {"UCS-2 > UTF-8 latin", "UCS-2", "UTF-8", "UTF-16LE", "UTF-8", "UTF-16LE", "UTF-8", german},
    {"UCS-2 > UTF-8 kanji", "UCS-2", "UTF-8", "UTF-16LE", "UTF-8", "UTF-16LE", "UTF-8", japanese},
    {"930 > UTF-8", "QMX-930", "UTF-8", "ibm-930", "UTF-8", "IBM930", "UTF-8", japanese},
    {"930 > 943", "QMX-930", "QMX-943", "ibm-930", "ibm-943_P15A-2003", "IBM930", "IBM943", japanese},
    {"EUC-JP > UCS-2", "QMX-eucJP", "UCS-2", "ibm-33722", "UTF-16LE", "EUC-JP", "UTF-16LE", japanese},
};

bool quick = false;

[[noreturn]] void fail(const std::string &Text)
{
    fprintf(stderr, "icnv_bench: %s\n", Text.c_str());
    exit(1);
}

u32 openPair(const char *To, const char *From)
{
    const u32 cd = SupOS_IcnvOpen(To, From);
    if (cd == SUPOS_ICNV_FAILED) fail(std::string("cannot open ") + From + " to " + To);
    return cd;
}

std::string convert(u32 Cd, const std::string &Source)
{
    std::string target(Source.size() * 4 + 16, '\0');
    const char *in = Source.data();
    char *out = target.data();
    u32 length = static_cast<u32>(Source.size());
    u32 room = static_cast<u32>(target.size());
    const i32 code = SupOS_IcnvCode(Cd, &in, &length, &out, &room);
    if (code != ICNV_RC_OK) fail("conversion ended with " + std::to_string(code));
    target.resize(target.size() - room);
    return target;
}

// At most Size bytes in the source's code set, whole characters of the text repeated.
std::string makeSource(const Case &C, size_t Size)
{
    std::string text;
    while (text.size() < Size * 3 && text.size() < 600000) text += C.Text;
    const bool same = strcmp(C.From, "UTF-8") == 0;
    const u32 cd = same ? 0 : openPair(C.From, "UTF-8");
    const size_t block = Size < 65536 ? Size : 65536;
    size_t low = 0, high = text.size();
    std::string best;
    while (low < high) { // the longest beginning that fits
        size_t middle = (low + high + 1) / 2;
        size_t cut = middle;
        while (cut < text.size() && (text[cut] & 0xC0) == 0x80) --cut;
        const std::string made = same ? text.substr(0, cut) : convert(cd, text.substr(0, cut));
        if (made.size() <= block) {
            best = made;
            low = middle;
        } else {
            high = middle - 1;
        }
    }
    if (!same) SupOS_IcnvClose(cd);
    std::string source;
    for (size_t i = 0; i < Size / block; ++i) source += best;
    return source;
}

// Seconds a call, the best of many short rounds: on a machine with other work the best one ran alone.
double timeOf(const std::function<void()> &Call)
{
    using clock = std::chrono::steady_clock;
    const double wanted = 0.001;
    size_t count = 1;
    double best = 1e9;
    for (int round = 0; round < (quick ? 15 : 60);) {
        const auto start = clock::now();
        for (size_t i = 0; i < count; ++i) Call();
        const double seconds = std::chrono::duration<double>(clock::now() - start).count();
        if (seconds < wanted && count < size_t{1} << 30) {
            count = seconds < wanted / 16 ? count * 8 : count * 2;
            continue;
        }
        best = std::min(best, seconds / static_cast<double>(count));
        ++round;
    }
    return best;
}

struct Icu {
    UConverter *From, *To;
};

UConverter *openIcu(const char *Name)
{
    UErrorCode status = U_ZERO_ERROR;
    UConverter *const converter = ucnv_open(Name, &status);
    if (U_FAILURE(status)) fail(std::string("ICU has no ") + Name);
    return converter;
}

size_t icuPivot(const Icu &I, const std::string &Source, std::string &Target)
{
    UErrorCode status = U_ZERO_ERROR;
    UChar pivot[1024];
    UChar *pivotSource = pivot, *pivotTarget = pivot;
    const char *in = Source.data();
    char *out = Target.data();
    ucnv_convertEx(I.To, I.From, &out, out + Target.size(), &in, in + Source.size(), pivot, &pivotSource, &pivotTarget,
                   pivot + 1024, true, true, &status);
    return static_cast<size_t>(out - Target.data());
}

// Through UTF-16, by the calls made for each side.
size_t icuPair(const Case &C, const Icu &I, const std::string &Source, std::string &Target, std::vector<UChar> &Units)
{
    UErrorCode status = U_ZERO_ERROR;
    const bool fromUnits = strcmp(C.IcuFrom, "UTF-16LE") == 0, toUnits = strcmp(C.IcuTo, "UTF-16LE") == 0;
    const int32_t length = static_cast<int32_t>(Source.size());
    UChar *const units = toUnits ? reinterpret_cast<UChar *>(Target.data()) : Units.data();
    const int32_t room = static_cast<int32_t>(toUnits ? Target.size() / 2 : Units.size());
    const UChar *from = units;
    int32_t count = 0;
    if (fromUnits)
        from = reinterpret_cast<const UChar *>(Source.data()), count = length / 2;
    else if (strcmp(C.IcuFrom, "UTF-8") == 0)
        u_strFromUTF8(units, room, &count, Source.data(), length, &status);
    else
        count = ucnv_toUChars(I.From, units, room, Source.data(), length, &status);
    if (toUnits) return static_cast<size_t>(count) * 2;
    int32_t made = 0;
    if (strcmp(C.IcuTo, "UTF-8") == 0)
        u_strToUTF8(Target.data(), static_cast<int32_t>(Target.size()), &made, from, count, &status);
    else
        made = ucnv_fromUChars(I.To, Target.data(), static_cast<int32_t>(Target.size()), from, count, &status);
    return static_cast<size_t>(made);
}

size_t iconvAll(iconv_t Cd, const std::string &Source, std::string &Target)
{
    char *in = const_cast<char *>(Source.data());
    char *out = Target.data();
    size_t length = Source.size(), room = Target.size();
    iconv(Cd, nullptr, nullptr, nullptr, nullptr);
    iconv(Cd, &in, &length, &out, &room);
    return Target.size() - room;
}

void runCase(const Case &C, size_t Size)
{
    const std::string source = makeSource(C, Size);
    const u32 cd = openPair(C.To, C.From);
    const Icu icu = {openIcu(C.IcuFrom), openIcu(C.IcuTo)};
    std::string target(source.size() * 3 + 64, '\0'), other(target.size(), '\0');
    std::vector<UChar> units(source.size() + 64);

    const std::string ours = convert(cd, source);
    other.resize(icuPair(C, icu, source, other, units));
    const bool agrees = other == ours;
    other.resize(target.size());

    const double own = timeOf([&] {
        const char *in = source.data();
        char *out = target.data();
        u32 length = static_cast<u32>(source.size());
        u32 room = static_cast<u32>(target.size());
        if (SupOS_IcnvCode(cd, &in, &length, &out, &room) != ICNV_RC_OK) fail("conversion failed");
    });
    const double copy = timeOf([&] {
        memcpy(other.data(), source.data(), source.size());
        __asm__ volatile("" : : "r"(other.data()) : "memory");
    });
    const double pivot = timeOf([&] { icuPivot(icu, source, other); });
    const double pair = timeOf([&] { icuPair(C, icu, source, other, units); });
    const iconv_t conv = iconv_open(C.IconvTo, C.IconvFrom);
    const double lib = conv == iconv_t(-1) ? 0 : timeOf([&] { iconvAll(conv, source, other); });
    if (conv != iconv_t(-1)) iconv_close(conv);

    const double bytes = static_cast<double>(source.size()) / 1e9;
    const double best = std::min(pivot, pair);
    printf("%-20s %9zu %8.2f %8.2f %5.0f%% %8.3f %7.1fx %8.3f %7.1fx%s\n", C.Title, source.size(), bytes / own,
           bytes / copy, 100 * copy / own, bytes / best, best / own, lib > 0 ? bytes / lib : 0, lib / own,
           agrees ? "" : "  (text differs from ICU's)");
    fflush(stdout);
    ucnv_close(icu.From);
    ucnv_close(icu.To);
    SupOS_IcnvClose(cd);
}

void openTimes()
{
    using clock = std::chrono::steady_clock;
    const auto start = clock::now();
    const u32 first = openPair("QMX-850", "QMX-037");
    const double once = std::chrono::duration<double>(clock::now() - start).count();
    const double again = timeOf([] { SupOS_IcnvClose(openPair("QMX-850", "QMX-037")); });
    const u32 mixed = openPair("QMX-943", "QMX-930");
    const double mixedAgain = timeOf([] { SupOS_IcnvClose(openPair("QMX-943", "QMX-930")); });
    printf("first open of the process %.2f ms; open and close again: 037 > 850 %.0f ns, 930 > 943 %.0f ns\n",
           once * 1e3, again * 1e9, mixedAgain * 1e9);
    SupOS_IcnvClose(first);
    SupOS_IcnvClose(mixed);
}

void useTables()
{
    const std::string root = Scratch_MakeRoot(nullptr);
    std::error_code ignored;
    std::filesystem::remove_all(root + "/install/etc", ignored);
    std::filesystem::create_directory_symlink(VELA_BENCH_TABLES, root + "/install/etc");
    SupPR_InitNames(nullptr);
}

} // namespace

int main(int Count, char **Arguments)
{
    std::string only;
    for (int i = 1; i < Count; ++i) {
        const std::string word = Arguments[i];
        const std::string value = i + 1 < Count ? Arguments[i + 1] : "";
        if (word.starts_with("--benchmark_")) continue; // what the other benchmarks are told
        if (word == "--quick")
            quick = true;
        else if (word == "--only")
            only = value, ++i;
#ifdef ICNV_BENCH_FORMS
        else if (word == "--form") {
            if (!SupOS_IcnvUseKernels(value.c_str())) fail("no form " + value + " here");
            ++i;
        }
#endif
        else
            fail("unknown option " + word);
    }
    useTables();
    openTimes();
    printf("%-20s %9s %8s %8s %6s %8s %8s %8s %8s   GB/s of source\n", "", "bytes", "own", "memcpy", "", "ICU",
           "own/ICU", "iconv", "own/iconv");
    for (const Case &row : cases) {
        if (std::string(row.Title).find(only) == std::string::npos) continue;
        for (const size_t size : {size_t{64}, size_t{1024}, size_t{65536}, size_t{16} << 20}) runCase(row, size);
    }
    return 0;
}
