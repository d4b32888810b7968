// The 3270 streams once more, as plainly as they can be told. Vectors are reached through at(), so that an access
// outside of one ends the program.

#include "ter_reference.h"

#include <climits>
#include <cstring>
#include <cwchar>
#include <langinfo.h>
#include <sstream>
#include <string>

namespace
{

constexpr u32 incompleteOrder = 0x1F200001;
constexpr u32 noStorage = 0x1F20000B;

Ref_Bytes fromHex(const char *text)
{
    Ref_Bytes bytes;
    std::istringstream in(text);
    for (std::string word; in >> word;) bytes.push_back(static_cast<u8>(std::stoul(word, nullptr, 16)));
    return bytes;
}

// A part of a stream; the end may lie in front of the start.
Ref_Bytes part(const Ref_Bytes &bytes, size_t from, size_t to)
{
    Ref_Bytes out;
    for (size_t i = from; i < to; ++i) out.push_back(bytes.at(i));
    return out;
}

void append(Ref_Bytes *bytes, const Ref_Bytes &more)
{
    for (const u8 byte : more) bytes->push_back(byte);
}

} // namespace

const Ref_Bytes &Ref_BinaryToGraphic()
{
    static const Ref_Bytes table = [] {
        const std::string text = " ABCDEFGHI[.<(+!&JKLMNOPQR]$*);^-/STUVWXYZ|,%_>?0123456789:#@'=\"";
        return Ref_Bytes(text.begin(), text.end());
    }();
    return table;
}

u8 Ref_GraphicToBinary(u8 Character)
{
    for (u8 value = 0; value < 64; ++value)
        if (Ref_BinaryToGraphic().at(value) == Character) return value;
    return 0;
}

u8 Ref_OrderLength(u8 Code)
{
    switch (Code) {
    case 0x08: return 2;
    case 0x09: return 1;
    case 0x0A: return 1;
    case 0x10: return 1;
    case 0x11: return 3;
    case 0x12: return 3;
    case 0x13: return 1;
    case 0x14: return 1;
    case 0x1A: return 1;
    case 0x1D: return 2;
    case 0x1F: return 3;
    default: return 0;
    }
}

// Every character's two codes, one pair a character; all else is 0.
const Ref_Bytes &Ref_AsciiToEbcdic()
{
    static const Ref_Bytes table = [] {
        Ref_Bytes out = fromHex("00 01 02 03 37 2D 2E 2F 08 05 15 0B 0C 0D 0E 0F 29 11 12 13 3C 3D 32 26 18 19 2C 27 "
                                "1C 1D 1E 28 40 4F 7F 7B 5B 6C 50 7D 4D 5D 5C 4E 6B 60 4B 61");
        for (u8 digit = 0xF0; digit <= 0xF9; ++digit) out.push_back(digit);
        append(&out, fromHex("7A 5E 4C 7E 6E 6F 7C"));
        for (u8 letter = 0xC1; letter <= 0xC9; ++letter) out.push_back(letter);
        for (u8 letter = 0xD1; letter <= 0xD9; ++letter) out.push_back(letter);
        for (u8 letter = 0xE2; letter <= 0xE9; ++letter) out.push_back(letter);
        append(&out, fromHex("4A E0 5A 5F 6D 79"));
        for (u8 letter = 0x81; letter <= 0x89; ++letter) out.push_back(letter);
        for (u8 letter = 0x91; letter <= 0x99; ++letter) out.push_back(letter);
        for (u8 letter = 0xA2; letter <= 0xA9; ++letter) out.push_back(letter);
        append(&out, fromHex("C0 6A D0 00 00"));
        out.resize(0xFA, 0);
        for (u32 high = 0xFA; high <= 0xFF; ++high) out.push_back(static_cast<u8>(high));
        return out;
    }();
    return table;
}

const Ref_Bytes &Ref_EbcdicToAscii()
{
    static const Ref_Bytes table = [] {
        Ref_Bytes out(256, 0);
        for (u32 ascii = 0; ascii < 256; ++ascii)
            if (Ref_AsciiToEbcdic().at(ascii) != 0) out.at(Ref_AsciiToEbcdic().at(ascii)) = static_cast<u8>(ascii);
        out.at(0xA1) = 0x7E;
        out.at(0x07) = 0x7F;
        return out;
    }();
    return table;
}

// --- Scan ---

namespace
{

void mapStore(Ref_Bytes *map, u32 position, u8 value)
{
    if (map != nullptr && position < map->size()) map->at(position) = value;
}

void mapClear(Ref_Bytes *map, i64 from, i64 count)
{
    for (i64 i = 0; i < count; ++i) mapStore(map, static_cast<u32>(from + i), 0);
}

// Says whether the pairs select double-byte text; the last one counts.
bool pairsAreDoubleByte(const Ref_Bytes &stream, size_t at, u32 count)
{
    bool found = false;
    for (u32 i = 0; i < count; ++i)
        if (stream.at(at + 2 * i) == 0x43) found = stream.at(at + 2 * i + 1) == 0x38;
    return found;
}

u16 addressAt(const Ref_Bytes &stream, size_t at)
{
    return static_cast<u16>(Ref_GraphicToBinary(stream.at(at)) * 64 + Ref_GraphicToBinary(stream.at(at + 1)));
}

bool isPlainLocale()
{
    return std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0;
}

// Bytes that a character takes at the head of so many bytes, 0 for a NUL, -1 for none; its encoding's length.
int characterAt(const Ref_Bytes &stream, size_t at, size_t room, int *encoded)
{
    *encoded = 1;
    if (stream.at(at) >= 0x80 && isPlainLocale()) return 1;

    const Ref_Bytes text = part(stream, at, at + room);
    std::mbstate_t state{};
    wchar_t wide = 0;
    const size_t used = std::mbrtowc(&wide, reinterpret_cast<const char *>(text.data()), room, &state);
    if (used == static_cast<size_t>(-1) || used == static_cast<size_t>(-2)) return -1;

    char out[MB_LEN_MAX];
    std::mbstate_t fresh{};
    *encoded = static_cast<int>(std::wcrtomb(out, wide, &fresh));
    return static_cast<int>(used);
}

} // namespace

bool Ref_ExamineScreen(const Ref_Bytes *Map, u16 Position)
{
    if (Map == nullptr) return false;
    for (u32 at = Position; at > 0; --at) {
        if (at >= Map->size()) continue;
        if (Map->at(at) == 0x14) return true;
        if (Map->at(at) == 0x10) return false;
    }
    return false;
}

u32 Ref_CountToControl(const Ref_Bytes &Stream, u16 *Offset, const Ref_Bytes *Map, u16 Position)
{
    const size_t length = Stream.size();
    u32 count = 0;
    bool shifted = false;
    const bool inField = Ref_ExamineScreen(Map, Position);
    size_t at = *Offset;
    while (at < length) {
        const u8 byte = Stream.at(at);
        if (byte < 32 && Ref_OrderLength(byte) != 0) {
            *Offset = static_cast<u16>(at);
            return count;
        }
        int encoded = 0;
        if (characterAt(Stream, at, 1, &encoded) == 1) {
            shifted = false;
            count += 1;
            at += 1;
            continue;
        }
        const int step = characterAt(Stream, at, std::min<size_t>(5, length - at), &encoded);
        if (step < 1) {
            count += 1;
            at += 1;
            continue;
        }
        count += static_cast<u32>(encoded);
        if (!shifted && !inField) {
            count += 2;
            shifted = true;
        }
        at += static_cast<size_t>(step);
    }
    *Offset = static_cast<u16>(length);
    return count;
}

Ref_Scan Ref_ParseTIOA(const Ref_Bytes &Stream, Ref_Bytes *Map, bool InsertAddresses, u32 FailedAllocation)
{
    Ref_Scan scan;
    const u32 length = static_cast<u32>(Stream.size());
    scan.Stream = Stream;
    if (length == 0) return scan;

    u32 offset = 1;
    if (Stream.at(0) == 0x31) offset = 2;
    if (Stream.at(0) == 0x35 || Stream.at(0) == 0x3D) {
        offset = 2;
        mapClear(Map, 0, 4000);
    }

    Ref_Bytes rebuilt;
    u32 capacity = 0;
    u32 inserted = 0;
    u32 copied = 0;
    u16 position = 0;
    bool addressed = false;
    while (offset < length && scan.Code == 0) {
        const u8 c = Stream.at(offset);
        const u32 remaining = length - offset;
        if (c > 0x1F) {
            u16 moved = static_cast<u16>(offset);
            position = static_cast<u16>(position + Ref_CountToControl(Stream, &moved, Map, position));
            offset = moved;
            addressed = false;
            continue;
        }
        u32 n = Ref_OrderLength(c);
        if (n > remaining) {
            scan.Code = incompleteOrder;
            break;
        }
        bool startsField = false;
        if (c == 0x00 || c == 0x0A || c == 0x0C || c == 0x0D || c == 0x19 || c == 0x1C || c == 0x1E) {
            n = 1;
            position++;
            addressed = false;
        } else if (c == 0x11) {
            addressed = true;
            position = addressAt(Stream, offset + 1);
        } else if (c == 0x1D) {
            mapStore(Map, position, 0x10);
            startsField = true;
        } else if (c == 0x10 || c == 0x1A) {
            if (remaining < n + 2) {
                n = 0;
                scan.Code = incompleteOrder;
            } else {
                n = Stream.at(offset + 1) * 2u + 2u;
                if (n > remaining) {
                    n = 0;
                    scan.Code = incompleteOrder;
                }
            }
            if (scan.Code == 0) {
                mapStore(Map, position, pairsAreDoubleByte(Stream, offset + 2, Stream.at(offset + 1)) ? 0x14 : 0x10);
                startsField = true;
            }
        } else if (c == 0x1F) {
            mapStore(Map, position, pairsAreDoubleByte(Stream, offset + 1, 1) ? 0x14 : 0x10);
            addressed = false;
        } else if (c == 0x14) {
            addressed = false;
            n = remaining > 3 && Stream.at(offset + 3) == 0x08 ? 5 : 3;
            if (n > remaining) {
                n = 0;
                scan.Code = incompleteOrder;
            } else {
                const u16 target = addressAt(Stream, offset + 1);
                if (target > position) {
                    mapClear(Map, position, target - position);
                } else {
                    if (target > 0) mapClear(Map, 0, target);
                    mapClear(Map, position, 0xFA1 - position);
                }
                position = target;
            }
        } else {
            addressed = false;
            if (n == 0) scan.Code = incompleteOrder;
        }

        if (startsField) {
            if (!addressed && InsertAddresses) {
                bool stored = true;
                if (!scan.Rebuilt || inserted == 99) {
                    const u32 wanted = (scan.Rebuilt ? capacity : length) + 300;
                    stored = wanted <= 0xFFFF && ++scan.Allocations != FailedAllocation;
                    if (stored) {
                        if (scan.Rebuilt) scan.Releases++;
                        capacity = wanted;
                        inserted = 0;
                        scan.Rebuilt = true;
                    }
                }
                if (stored) {
                    append(&rebuilt, part(Stream, copied, offset));
                    rebuilt.push_back(0x11);
                    rebuilt.push_back(Ref_BinaryToGraphic().at((position >> 6) & 63));
                    rebuilt.push_back(Ref_BinaryToGraphic().at(position & 63));
                    inserted++;
                    copied = offset;
                } else {
                    scan.Code = noStorage;
                }
            }
            position++;
            addressed = false;
        }
        offset += n;
    }

    if (scan.Rebuilt) {
        append(&rebuilt, part(Stream, copied, offset));
        scan.Stream = rebuilt;
        scan.Releases++;
    } else if (scan.Code != 0) {
        scan.Stream = part(Stream, 0, offset);
    }
    return scan;
}

// --- Translation ---

namespace
{

struct Command {
    u8 Local, Ascii, Written;
    bool Wcc, Erases;
};

const Command commands[] = {
    {0x01, 0x31, 0xF1, true, false},  {0x02, 0x32, 0xF2, false, false}, {0x05, 0x35, 0xF5, true, true},
    {0x06, 0x36, 0xF6, false, false}, {0x0D, 0x3D, 0x7E, true, true},   {0x0E, 0x3E, 0x6E, false, false},
    {0x0F, 0x3F, 0x6F, false, false}, {0x11, 0x88, 0xF3, false, false},
};

struct Run {
    u32 Code = 0;
    size_t Length = 0;
    u8 Address[2] = {0, 0};
    u8 CharacterSet = 0;
};

void convertPairs(Ref_Bytes *stream, size_t at, u32 count, bool ebcdic, bool translate, u8 *characterSet)
{
    const Ref_Bytes &table = ebcdic ? Ref_EbcdicToAscii() : Ref_AsciiToEbcdic();
    for (u32 i = 0; i < count; ++i) {
        const u8 type = stream->at(at + 2 * i);
        u8 &value = stream->at(at + 2 * i + 1);
        const u8 v = value;
        if (translate && type <= 0xC0) value = table.at(v);
        if (type != 0x43) continue;
        if (ebcdic) {
            *characterSet = value;
        } else {
            *characterSet = v;
            if (v == 0xF8) value = v;
        }
    }
}

Run skipControl(Ref_Bytes *stream, size_t from, bool ebcdic, bool translate)
{
    Run run;
    const Ref_Bytes &table = ebcdic ? Ref_EbcdicToAscii() : Ref_AsciiToEbcdic();
    const u8 limit = ebcdic ? 63 : 31;
    bool seen = false;
    while (from + run.Length < stream->size()) {
        const size_t p = from + run.Length;
        const size_t remaining = stream->size() - p;
        bool translateNow = translate;
        u8 c = stream->at(p);
        if (c > limit) break;
        if (ebcdic) c = table.at(c);
        size_t n = c < 32 ? Ref_OrderLength(c) : 0;
        if (remaining < n) {
            run.Code = incompleteOrder;
            break;
        }
        if (c == 0x10 || c == 0x1A) {
            if (remaining < n + 2 || stream->at(p + 1) * 2u + 2u > remaining) {
                run.Code = incompleteOrder;
                break;
            }
            n = stream->at(p + 1) * 2u + 2u;
            if (translateNow) stream->at(p) = table.at(stream->at(p));
            convertPairs(stream, p + 2, stream->at(p + 1), ebcdic, translateNow, &run.CharacterSet);
            translateNow = false;
        } else if (c == 0x11) {
            if (seen) {
                n = 0;
            } else {
                run.Address[0] = stream->at(p + 1);
                run.Address[1] = stream->at(p + 2);
                seen = true;
            }
        } else if (c == 0x14) {
            n = remaining > 3 && stream->at(p + 3) == 0x08 ? 5 : 3;
            if (n > remaining) {
                run.Code = incompleteOrder;
                break;
            }
        } else if (c == 0x1F && translateNow) {
            stream->at(p) = table.at(stream->at(p));
            convertPairs(stream, p + 1, 1, ebcdic, true, &run.CharacterSet);
            translateNow = false;
        }
        if (stream->at(p) == 0) n = 1;
        if (n == 0) break;
        if (translateNow)
            for (size_t i = p; i < p + n; ++i) stream->at(i) = table.at(stream->at(i));
        run.Length += n;
    }
    return run;
}

size_t textLength(const Ref_Bytes &stream, size_t from, bool ebcdic)
{
    size_t at = from;
    for (; at < stream.size(); ++at) {
        u8 c = stream.at(at);
        if (ebcdic) {
            if (c > 63) continue;
            c = Ref_EbcdicToAscii().at(c);
        }
        if (c < 32 && Ref_OrderLength(c) != 0) break;
    }
    return at - from;
}

// What framing leaves of a text: all bytes but the first and the last shift-in, which becomes 00 where it is not last.
Ref_Bytes strip(Ref_Bytes framed, u32 length)
{
    if (length <= 2) return {};
    if (framed.size() < length) framed.resize(length, 0);
    for (u32 at = length - 1; at >= 1; --at) {
        if (framed.at(at) != 0x0F) continue;
        framed.at(at) = 0;
        break;
    }
    return part(framed, 1, length - 1);
}

} // namespace

Ref_Translation Ref_Translate(const Ref_Bytes &Stream, const Ref_Arguments &Arguments, const Ref_Convert &Convert)
{
    Ref_Translation end;
    end.Source = Stream;
    end.Length = static_cast<u16>(Stream.size());
    const auto fail = [&end](u32 code) {
        end.Code = code;
        return end;
    };
    const auto allocate = [&end, &Arguments](u32 size) {
        end.Asked.push_back(size);
        return end.Asked.size() != Arguments.FailedAllocation;
    };

    const u32 length = static_cast<u32>(Stream.size());
    const u32 firstSize = length < 0x4000 ? (length + 1) * 5 : 0xFFFF;
    const u32 secondSize = length < 0x4000 ? (length + 1) * 3 : 0xFFFF;
    if (!allocate(firstSize)) return fail(99);
    if (!allocate(secondSize)) return fail(99);

    const bool ebcdic = Arguments.SourceIsEbcdic == 1;
    const bool textMode = Arguments.Descriptor != -2;
    const int mode = Arguments.DoubleByteMode;
    const bool translateOrders = textMode && (mode == 1 || mode == 2);
    bool screenValid = true;
    Ref_Bytes out;
    Ref_Bytes second(secondSize, 0);
    size_t at = 0; // in the source
    i64 done = 0; // as it is counted

    if (!textMode && Arguments.NoPrefix == 0) {
        at = std::min<size_t>(3, length);
        out = part(Stream, 0, at);
        done = static_cast<i64>(at);
    }
    if (Arguments.HasCommand == 1 && at < length) {
        const u8 first = Stream.at(at);
        if (ebcdic && (first == 0x7E || first == 0xF5)) screenValid = false;
        for (const Command &command : commands) {
            if (first != (ebcdic ? command.Local : command.Ascii)) continue;
            out.push_back(ebcdic ? command.Ascii : command.Written);
            at += 1;
            done = ebcdic ? 1 : done + 1;
            if (!ebcdic && command.Wcc && at < length) {
                out.push_back(Stream.at(at));
                at += 1;
                done += 1;
            }
            if (command.Erases) screenValid = false;
            break;
        }
    }
    if (Arguments.HasCommand == 0 && ebcdic && Arguments.NoPrefix == 0) {
        for (int i = 0; i < 3 && done < static_cast<i64>(length); ++i) {
            out.push_back(Ref_EbcdicToAscii().at(Stream.at(at)));
            at += 1;
            done += 1;
        }
    }

    while (at < length) {
        const Run run = skipControl(&end.Source, at, ebcdic, translateOrders);
        if (run.Code != 0) {
            end.Symptom = Ref_Symptom{644, 1, {static_cast<int>(length), static_cast<int>(done), 0}};
            return fail(run.Code);
        }
        u16 address = 0;
        if (run.Address[0] != 0) {
            u8 high = run.Address[0];
            u8 low = run.Address[1];
            if (ebcdic) {
                high = Ref_EbcdicToAscii().at(high);
                low = Ref_EbcdicToAscii().at(low);
            }
            address = static_cast<u16>(Ref_GraphicToBinary(high) * 64 + Ref_GraphicToBinary(low));
        }
        bool doubleByte = run.CharacterSet == 0x38 || run.CharacterSet == 0xF8;

        const u32 most = std::min<u32>(firstSize, 0xFFFF);
        if (out.size() + run.Length > most) {
            if (textMode)
                end.Symptom =
                    Ref_Symptom{605, 78, {static_cast<int>(run.Length), static_cast<int>(firstSize - out.size()), 0}};
            return fail(noStorage);
        }
        append(&out, part(end.Source, at, at + run.Length));
        at += run.Length;
        done += static_cast<i64>(run.Length);

        const size_t textSize = textLength(end.Source, at, ebcdic);
        if (textSize == 0) continue;
        const Ref_Bytes text = part(end.Source, at, at + textSize);
        if (!textMode) {
            const Ref_Converted converted = Convert(0, text, static_cast<u16>(firstSize));
            if (converted.Code != 0) return fail(converted.Code);
            if (out.size() + converted.Text.size() > most) return fail(noStorage);
            append(&out, converted.Text);
        } else {
            if (Arguments.Map != nullptr && screenValid && !doubleByte)
                doubleByte = Ref_ExamineScreen(Arguments.Map, address);
            Ref_Bytes given = text;
            u32 room = firstSize - static_cast<u32>(out.size());
            u32 limit = most - static_cast<u32>(out.size());
            if (doubleByte && mode == 1) {
                room += 2;
                limit += 2;
            }
            if (doubleByte && (mode == 2 || mode == 3)) {
                given.insert(given.begin(), 0x0E);
                given.push_back(0x0F);
                for (size_t i = 0; i < given.size(); ++i) second.at(i) = given.at(i);
            }
            const Ref_Converted converted =
                Convert(static_cast<u32>(Arguments.Descriptor), given, static_cast<u16>(room));
            const u32 outLength = static_cast<u32>(converted.Text.size());
            u32 code = converted.Code;
            if (code == 0 && outLength > limit) code = noStorage;
            if (code != 0) {
                end.Symptom = Ref_Symptom{
                    605, 78, {static_cast<int>(given.size()), static_cast<int>(room), static_cast<int>(outLength)}};
                return fail(code);
            }
            if (doubleByte && mode == 1) {
                append(&out, strip(converted.Text, outLength));
            } else if (doubleByte && mode == 3) {
                append(&out, strip(second, outLength));
                for (u32 i = std::min(outLength, secondSize) - 1; outLength > 2 && i >= 1; --i) {
                    if (second.at(i) != 0x0F) continue;
                    second.at(i) = 0;
                    break;
                }
            } else {
                append(&out, converted.Text);
            }
        }
        at += textSize;
        done += static_cast<i64>(textSize);
    }

    end.Length = static_cast<u16>(out.size());
    if (textMode && !allocate(end.Length)) return fail(99);
    end.Result = out;
    return end;
}
