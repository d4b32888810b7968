// The reference form of the conversion loops; see the header.

#include "icnv_reference.h"

#include <string>

namespace
{

constexpr int OK = 0, FULL = -63, NOTABLE = -66, BADSRC = -68;

using Bytes = std::vector<uint8_t>;
using Table = Ref_Conversion::Table;

// One call: both streams with their positions.
struct Call {
    const Ref_Conversion &How;
    const Bytes &In;
    size_t Used = 0; // the source pointer
    size_t Counted = 0; // the source count; differs from the pointer within a GB18030 character only
    Bytes Out;
    size_t Made = 0;
    int Code = OK;

    size_t Left() const { return In.size() - Counted; }
    size_t Room() const { return Out.size() - Made; }
    bool At(size_t Ahead, int Byte) const { return Counted + Ahead < In.size() && In[Used + Ahead] == Byte; }
    void Take(size_t Count) { Used += Count, Counted += Count; }
    void Put(int Byte) { Out[Made++] = static_cast<uint8_t>(Byte); }
    Ref_Result End(size_t Padding = 0)
    {
        Ref_Result result;
        result.Code = Code;
        result.SourceMoved = Used;
        result.TargetMoved = Made;
        for (size_t i = 0; i < Padding; ++i) Out[Made + i] = 0;
        result.Written = Made + Padding;
        result.Target = Out;
        return result;
    }
    // The usual tail: source left over means full, and full means padded.
    Ref_Result EndPadded()
    {
        if (Counted < In.size() && Code == OK) Code = FULL;
        return End(Code == FULL ? Room() : 0);
    }
};

// Count bytes of a table, if it has all of them.
const uint8_t *cell(const Table &From, long long Offset, size_t Count)
{
    if (!From || Offset < 0 || Offset + static_cast<long long>(Count) > static_cast<long long>(From->size()))
        return nullptr;
    return From->data() + Offset;
}

long long signedByte(const uint8_t *Place)
{
    return *Place < 128 ? *Place : static_cast<long long>(*Place) - 256;
}

// The byte route.

void oneByte(Call &C)
{
    const uint8_t byte = C.In[C.Used];
    if (!C.How.Single) {
        C.Out[C.Made] = byte;
    } else {
        const int entry = byte == 0x15 && C.How.Mode % 2 == 1 ? 0x25 : byte;
        if (const uint8_t *found = cell(C.How.Single, entry, 1)) C.Out[C.Made] = *found;
    }
    C.Take(1);
    ++C.Made;
}

void twoBytes(Call &C)
{
    const uint8_t first = C.In[C.Used], second = C.In[C.Used + 1];
    if (!C.How.Double) {
        C.Out[C.Made] = first;
        C.Out[C.Made + 1] = second;
    } else if (const uint8_t *row = cell(C.How.Double, first, 1)) {
        if (const uint8_t *found = cell(C.How.Double, signedByte(row) * 512 + second * 2, 2)) {
            C.Out[C.Made] = found[0];
            C.Out[C.Made + 1] = found[1];
        }
    }
    C.Take(2);
    C.Made += 2;
}

void substitute(Call &C)
{
    C.Put(C.How.Mode & 16 ? 0x3F : C.How.Mode & 64 ? 0x1A : 0x7F);
    C.Take(2);
}

bool leads(const Call &C)
{
    for (uint32_t i = 0; i < C.How.LeadCount && C.How.LeadCount <= C.How.Lead.size(); ++i) // a row of more is none
        if (C.In[C.Used] >= C.How.Lead[i].Low && C.In[C.Used] <= C.How.Lead[i].High) return true;
    return false;
}

Ref_Result singleBytes(Call &C)
{
    while (C.Left() > 0 && C.Room() > 0) oneByte(C);
    if (C.Left() > 0) C.Code = FULL;
    return C.End();
}

Ref_Result hostToMixed(Call &C)
{
    const bool shifts = C.How.Mode & 16;
    while (C.Left() > 0 && C.Room() > 0 && C.Code == OK) {
        if (!C.At(0, 0x0E)) {
            oneByte(C);
        } else if (C.At(1, 0x0F)) {
            if (C.Room() < 2) break;
            oneByte(C);
            oneByte(C);
        } else {
            if (shifts && C.Room() >= 2) C.Put(0x0E);
            C.Take(1);
            while (!C.At(0, 0x0F) && C.Code == OK) {
                if (C.At(1, 0x0F) || C.Left() <= 1)
                    C.Code = BADSRC;
                else if (C.Room() < (shifts ? 3u : 2u))
                    C.Code = FULL;
                else
                    twoBytes(C);
            }
            if (shifts) C.Put(0x0F);
            if (C.Left() > 0) C.Take(1);
        }
    }
    return C.EndPadded();
}

Ref_Result hostToSingle(Call &C)
{
    bool inRun = false;
    while (C.Left() > 0 && C.Room() > 0 && C.Code == OK) {
        if (!C.At(0, 0x0E)) {
            oneByte(C);
        } else if (C.At(1, 0x0F)) {
            if (C.Room() < 2) break;
            oneByte(C);
            oneByte(C);
        } else {
            C.Take(1);
            while (!C.At(0, 0x0F) && C.Code == OK) {
                if (C.At(1, 0x0F) || C.Left() <= 1)
                    C.Code = BADSRC;
                else if (C.Room() < 1)
                    C.Code = FULL, inRun = true;
                else
                    substitute(C);
            }
        }
    }
    if (inRun) return C.End();
    return C.EndPadded();
}

Ref_Result pcToMixed(Call &C)
{
    if (C.How.LeadCount == 0 || C.How.LeadCount > 3) {
        C.Code = BADSRC;
        return C.End();
    }
    const bool shifts = C.How.Mode & 16;
    while (C.Left() > 0 && C.Room() > 0) {
        if (!leads(C)) {
            oneByte(C);
            continue;
        }
        if (C.Left() == 1) {
            C.Code = BADSRC;
            break;
        }
        if (C.Room() < 2) {
            C.Code = FULL;
            break;
        }
        if (shifts) {
            C.Put(0x0E);
            if (C.Room() < 3) {
                C.Put(0x0F);
                C.Code = FULL;
                break;
            }
        }
        twoBytes(C);
        while (C.Left() >= 2 && C.Room() >= 3 && leads(C)) twoBytes(C);
        if (shifts) C.Put(0x0F);
    }
    return C.EndPadded();
}

Ref_Result pcToSingle(Call &C)
{
    if (C.How.LeadCount == 0 || C.How.LeadCount > 3) {
        C.Code = BADSRC;
        return C.End();
    }
    while (C.Left() > 0 && C.Room() > 0) {
        if (!leads(C)) {
            oneByte(C);
            continue;
        }
        if (C.Left() == 1 || C.Room() < 2) {
            C.Code = C.Left() == 1 ? BADSRC : FULL;
            break;
        }
        substitute(C);
        while (C.Left() >= 2 && C.Room() >= 1 && leads(C)) substitute(C);
    }
    return C.EndPadded();
}

// The Unicode and EUC route. A letter for each piece:
// readers  b byte, u UCS-2, 8 UTF-8, e EUC, p PC, h host, g GB18030
// lookups  = none, 1 S2, 2 D2, n D1, E E4, F F4, G G4, T T4, g by length
// writers  b byte, u UCS-2, 8 UTF-8, e EUC, p PC, h host
// endings  c close, k check, s strict, o end ok, l source left

struct State {
    bool Inside = false;
    std::array<uint8_t, 4> In = {}, Out = {};
    size_t Length = 0; // of a GB18030 character
};

int readEuc(Call &C, State &S)
{
    const uint8_t lead = C.In[C.Used];
    unsigned long long width = 1;
    if (lead == 0x8E) {
        if (C.How.EucCount < 3) return BADSRC;
        width = static_cast<uint32_t>(C.How.EucWidth[2] + 1);
    } else if (lead == 0x8F) {
        if (C.How.EucCount < 4) return BADSRC;
        width = static_cast<uint32_t>(C.How.EucWidth[3] + 1);
    } else if (lead >= 0xA0) {
        width = C.How.EucWidth[1];
    }
    if (C.Left() < width) return BADSRC;
    if (width < 1 || width > 4) {
        C.Take(width);
        return BADSRC;
    }
    S.In = {};
    for (size_t i = 0; i < width; ++i) S.In[4 - width + i] = C.In[C.Used + i];
    C.Take(width);
    return OK;
}

int readUtf(Call &C, State &S)
{
    const int b = C.In[C.Used];
    const size_t needed = b < 0x80 ? 1 : (b & 0xE0) == 0xC0 ? 2 : (b & 0xF0) == 0xE0 ? 3 : 0;
    if (needed == 0 || C.Left() < needed) return BADSRC;
    const int second = needed > 1 ? C.In[C.Used + 1] : 0, third = needed > 2 ? C.In[C.Used + 2] : 0;
    int high = 0, low = b;
    if (needed == 2) high = (b >> 2) & 7, low = (b << 6) | (second & 0x3F);
    if (needed == 3) high = (b << 4) | ((second >> 2) & 0xF), low = (second << 6) | (third & 0x3F);
    S.In[0] = static_cast<uint8_t>(high);
    S.In[1] = static_cast<uint8_t>(low);
    C.Take(needed);
    return OK;
}

int readHost(Call &C, State &S)
{
    if (S.Inside && C.At(0, 0x0F)) S.Inside = false, C.Take(1);
    if (C.Left() == 0) return FULL;
    if (!S.Inside && C.At(0, 0x0E) && C.Left() > 1 && !C.At(1, 0x0F)) S.Inside = true, C.Take(1);
    if (!S.Inside) {
        S.In[0] = 0;
        S.In[1] = C.In[C.Used];
        C.Take(1);
        return OK;
    }
    if (C.Left() < 2) return BADSRC;
    S.In[0] = C.In[C.Used];
    S.In[1] = C.In[C.Used + 1];
    C.Take(2);
    if (C.At(0, 0x0F)) S.Inside = false, C.Take(1);
    return OK;
}

bool between(int Byte, int Low, int High)
{
    return Byte >= Low && Byte <= High;
}

int readGb(Call &C, State &S)
{
    const size_t start = C.Used;
    const auto whole = [&](size_t Length) { return C.Used = start + Length, S.Length = Length, OK; };
    const auto broken = [&](size_t Back) { return C.Counted -= Back, C.Used = start + 1, S.Length = 0, OK; };
    for (size_t i = 0; i < 4; ++i) {
        if (i > 0 && C.Counted == C.In.size()) return BADSRC;
        const int byte = C.In[start + i];
        ++C.Counted;
        S.In[i] = static_cast<uint8_t>(byte);
        if (i == 0 && !between(byte, 0x81, 0xFE)) return whole(1);
        if (i == 1 && (between(byte, 0x40, 0x7E) || between(byte, 0x80, 0xFE))) return whole(2);
        if (i == 2 && !between(byte, 0x81, 0xFE)) return broken(2);
        if ((i == 1 || i == 3) && !between(byte, 0x30, 0x39)) return broken(i);
    }
    return whole(4);
}

int read(char Reader, Call &C, State &S)
{
    switch (Reader) {
    case 'b':
        S.In[0] = C.In[C.Used];
        C.Take(1);
        return OK;
    case 'u':
        if (C.Left() < 2) return BADSRC;
        S.In[0] = C.In[C.Used + 1];
        S.In[1] = C.In[C.Used];
        C.Take(2);
        return OK;
    case '8': return readUtf(C, S);
    case 'e': return readEuc(C, S);
    case 'h': return readHost(C, S);
    case 'g': return readGb(C, S);
    case 'p': {
        const size_t width = leads(C) ? 2 : 1;
        if (C.Left() < width) return BADSRC;
        S.In[0] = width == 2 ? C.In[C.Used] : 0;
        S.In[1] = C.In[C.Used + width - 1];
        C.Take(width);
        return OK;
    }
    }
    return NOTABLE;
}

void copy(State &S, const uint8_t *Found, size_t Count)
{
    for (size_t i = 0; Found != nullptr && i < Count; ++i) S.Out[i] = Found[i];
}

void lookUpTrie(const Table &T, State &S)
{
    const uint8_t *const first = cell(T, S.In[0], 1);
    if (first == nullptr) return;
    long long row = signedByte(first) + 1;
    for (size_t i = 1; i <= 2; ++i) {
        const uint8_t *const base = cell(T, row * 512, 4);
        const uint8_t *const delta = cell(T, row * 512 + 4 + S.In[i], 1);
        if (base == nullptr || delta == nullptr) return;
        row = base[0] * 4096 + base[1] * 256 + base[2] * 16 + base[3] + signedByte(delta);
    }
    copy(S, cell(T, row * 512 + S.In[3] * 2, 2), 2);
}

void lookUpFour(const Table &T, State &S)
{
    const uint8_t *const flag = cell(T, S.In[0], 1);
    if (flag == nullptr) return;
    if (*flag == 0) {
        S.Out[0] = S.Out[1] = 0xFE;
        return;
    }
    long long offset = 5120;
    for (int i = 0; i < 4; ++i) {
        const uint8_t *const v = cell(T, 1024 * (i + 1) + 4 * S.In[static_cast<size_t>(i)], 4);
        if (v == nullptr) return;
        offset += (static_cast<long long>(v[0]) << 24) + (v[1] << 16) + (v[2] << 8) + v[3];
    }
    copy(S, cell(T, offset, 2), 2);
}

void lookUp(char Layout, const Table &T, State &S)
{
    const int first = S.In[0], second = S.In[1];
    if (Layout == '=') {
        S.Out = S.In;
        return;
    }
    if (!T) return;
    if (Layout == '1') return copy(S, cell(T, first * 2, 2), 2);
    if (Layout == 'T') return lookUpTrie(T, S);
    if (Layout == 'G') {
        const uint8_t *const row = cell(T, first * 2, 2);
        if (row != nullptr) copy(S, cell(T, (row[0] * 256 + row[1]) * 1024 + second * 4, 4), 4);
        return;
    }
    const uint8_t *const index = cell(T, first, 1);
    if (index == nullptr) return;
    const long long row = signedByte(index);
    if (Layout == '2') copy(S, cell(T, row * 512 + second * 2, 2), 2);
    if (Layout == 'n') copy(S, cell(T, row * 256 + second, 1), 1);
    if (Layout == 'E') copy(S, cell(T, (row + 1) * 1024 + second * 4, 4), 4);
    if (Layout == 'F') copy(S, cell(T, 256 + row * 1024 + second * 4, 4), 4);
}

void lookUpByLength(const Ref_Conversion &How, State &S, int Substitute)
{
    if (S.Length == 1) lookUp('1', How.Record[0], S);
    if (S.Length == 2) lookUp('2', How.Record[1], S);
    if (S.Length == 4 && How.Record[2]) lookUpFour(How.Record[2], S);
    if (S.Length == 0) S.Out[0] = 0, S.Out[1] = static_cast<uint8_t>(Substitute);
}

int writeHost(Call &C, State &S)
{
    if (S.Out[0] == 0) {
        if (S.Inside) {
            C.Put(0x0F);
            S.Inside = false;
            if (C.Room() == 0) return FULL;
        }
        C.Put(S.Out[1]);
        return OK;
    }
    if (!S.Inside) {
        if (C.Room() < 2) return FULL;
        C.Put(0x0E);
        S.Inside = true;
    }
    if (C.Room() >= 3) {
        C.Put(S.Out[0]);
        C.Put(S.Out[1]);
        return OK;
    }
    C.Put(0x0F);
    S.Inside = false;
    return FULL;
}

int putAll(Call &C, std::initializer_list<int> All)
{
    if (C.Room() < All.size()) return FULL;
    for (const int byte : All) C.Put(byte);
    return OK;
}

int write(char Writer, Call &C, State &S)
{
    const int a = S.Out[0], b = S.Out[1], c = S.Out[2], d = S.Out[3];
    switch (Writer) {
    case 'b': return putAll(C, {a});
    case 'u': return putAll(C, {b, a});
    case 'p': return a == 0 ? putAll(C, {b}) : putAll(C, {a, b});
    case 'h': return writeHost(C, S);
    case 'e':
        if (a != 0) return putAll(C, {a, b, c, d});
        if (b != 0) return putAll(C, {b, c, d});
        return c == 0 ? putAll(C, {d}) : putAll(C, {c, d});
    case '8':
        if (a == 0 && b < 0x80) return putAll(C, {b});
        if (a < 8) return putAll(C, {0xC0 | a << 2 | b >> 6, 0x80 | (b & 0x3F)});
        return putAll(C, {0xE0 | a >> 4, 0x80 | ((a << 2) & 0x3C) | b >> 6, 0x80 | (b & 0x3F)});
    }
    return NOTABLE;
}

// Reader, lookup, writer and endings of a pair of encodings; empty where there is no routine.
std::string pieces(const Ref_Conversion &How)
{
    const uint32_t from = How.FromEncoding, to = How.ToEncoding;
    const std::string dots = "........";
    if (from < 1 || from > 8 || to < 1 || to > 8) return "";
    const auto pick = [](bool Single, const char *One, const char *Other) { return std::string(Single ? One : Other); };
    const bool fromOne = How.FromKind == 1, toOne = How.ToKind == 1;
    switch (from * 10 + to) {
    case 14: return pick(fromOne, "b1u", "h2uok");
    case 15: return pick(fromOne, "b18", "h28ok");
    case 16: return "hFeos";
    case 17: return "hGeo";
    case 24:
    case 34: return pick(fromOne, "b1u", "p2u");
    case 25:
    case 35: return pick(fromOne, "b18", "p28");
    case 26:
    case 36: return "pFe";
    case 41: return pick(toOne, "unb", "u2hc");
    case 42:
    case 43: return pick(toOne, "unb", "u2p");
    case 45: return "u=8";
    case 46: return "uEe";
    case 47: return "uGe";
    case 51: return pick(toOne, "8nb", "82hc");
    case 52:
    case 53: return pick(toOne, "8nb", "82p");
    case 54: return "8=u";
    case 56: return "8Ee";
    case 57: return "8Ge";
    case 61: return "eThc";
    case 62:
    case 63: return "eTp";
    case 64: return "eTu";
    case 65: return "eT8";
    case 71: return "gghcl";
    case 74: return "ggul";
    case 75: return "gg8l";
    }
    return "";
}

Ref_Result unicode(Call &C)
{
    const std::string how = pieces(C.How);
    if (how.empty()) {
        C.Code = NOTABLE;
        Ref_Result result = C.End();
        result.Written = C.Out.size();
        return result;
    }
    const auto ends = [&](char Ending) { return how.find(Ending, 3) != std::string::npos; };
    State S;
    while (C.Left() > 0 && C.Room() > 0) {
        C.Code = read(how[0], C, S);
        if (C.Code != OK) {
            if (C.Code == FULL && ends('o')) C.Code = OK;
            break;
        }
        if (how[1] == 'g')
            lookUpByLength(C.How, S, how[2] == 'h' ? 0x3F : 0x1A);
        else
            lookUp(how[1], C.How.Record[0], S);
        C.Code = write(how[2], C, S);
        if (C.Code != OK) break;
    }
    if (ends('c') && S.Inside && C.Room() > 0) C.Put(0x0F);
    if (ends('k') && S.Inside) {
        if (C.Left() == 0)
            C.Code = BADSRC;
        else if (C.At(0, 0x0F))
            C.Take(1);
    }
    if (ends('s') && S.Inside) C.Code = BADSRC;
    if (ends('l') && C.Left() > 0) C.Code = FULL;
    return C.EndPadded();
}

} // namespace

Ref_Result Ref_Convert(const Ref_Conversion &Conversion, const std::vector<uint8_t> &Source,
                       const std::vector<uint8_t> &Target)
{
    Call call{Conversion, Source, 0, 0, Target};
    if (Conversion.Mode == 0) return unicode(call);
    const bool fromHost = Conversion.Mode % 2 == 1;
    switch (Conversion.Doubles) {
    case Ref_Conversion::DoublesNone: return singleBytes(call);
    case Ref_Conversion::DoublesSubstitute: return fromHost ? hostToSingle(call) : pcToSingle(call);
    default: return fromHost ? hostToMixed(call) : pcToMixed(call);
    }
}
