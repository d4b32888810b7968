// Primitives of the data representation, in either byte order, within bounds.

#include "rpc_ndr.h"

#include "plat_sys.h"

#include <cstdlib>
#include <cstring>

// Code page 037 to ISO 8859-1.
// clang-format off
static constexpr u8 fromEbcdic[256] = {
    // 0    1     2     3     4     5     6     7     8     9     A     B     C     D     E     F
    0x00, 0x01, 0x02, 0x03, 0x9C, 0x09, 0x86, 0x7F, 0x97, 0x8D, 0x8E, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,  // 00
    0x10, 0x11, 0x12, 0x13, 0x9D, 0x85, 0x08, 0x87, 0x18, 0x19, 0x92, 0x8F, 0x1C, 0x1D, 0x1E, 0x1F,  // 10
    0x80, 0x81, 0x82, 0x83, 0x84, 0x0A, 0x17, 0x1B, 0x88, 0x89, 0x8A, 0x8B, 0x8C, 0x05, 0x06, 0x07,  // 20
    0x90, 0x91, 0x16, 0x93, 0x94, 0x95, 0x96, 0x04, 0x98, 0x99, 0x9A, 0x9B, 0x14, 0x15, 0x9E, 0x1A,  // 30
    0x20, 0xA0, 0xE2, 0xE4, 0xE0, 0xE1, 0xE3, 0xE5, 0xE7, 0xF1, 0xA2, 0x2E, 0x3C, 0x28, 0x2B, 0x7C,  // 40
    0x26, 0xE9, 0xEA, 0xEB, 0xE8, 0xED, 0xEE, 0xEF, 0xEC, 0xDF, 0x21, 0x24, 0x2A, 0x29, 0x3B, 0xAC,  // 50
    0x2D, 0x2F, 0xC2, 0xC4, 0xC0, 0xC1, 0xC3, 0xC5, 0xC7, 0xD1, 0xA6, 0x2C, 0x25, 0x5F, 0x3E, 0x3F,  // 60
    0xF8, 0xC9, 0xCA, 0xCB, 0xC8, 0xCD, 0xCE, 0xCF, 0xCC, 0x60, 0x3A, 0x23, 0x40, 0x27, 0x3D, 0x22,  // 70
    0xD8, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0xAB, 0xBB, 0xF0, 0xFD, 0xFE, 0xB1,  // 80
    0xB0, 0x6A, 0x6B, 0x6C, 0x6D, 0x6E, 0x6F, 0x70, 0x71, 0x72, 0xAA, 0xBA, 0xE6, 0xB8, 0xC6, 0xA4,  // 90
    0xB5, 0x7E, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0xA1, 0xBF, 0xD0, 0xDD, 0xDE, 0xAE,  // A0
    0x5E, 0xA3, 0xA5, 0xB7, 0xA9, 0xA7, 0xB6, 0xBC, 0xBD, 0xBE, 0x5B, 0x5D, 0xAF, 0xA8, 0xB4, 0xD7,  // B0
    0x7B, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0xAD, 0xF4, 0xF6, 0xF2, 0xF3, 0xF5,  // C0
    0x7D, 0x4A, 0x4B, 0x4C, 0x4D, 0x4E, 0x4F, 0x50, 0x51, 0x52, 0xB9, 0xFB, 0xFC, 0xF9, 0xFA, 0xFF,  // D0
    0x5C, 0xF7, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0xB2, 0xD4, 0xD6, 0xD2, 0xD3, 0xD5,  // E0
    0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0xB3, 0xDB, 0xDC, 0xD9, 0xDA, 0x9F,  // F0
};
// clang-format on
static_assert(fromEbcdic[0xC1] == 'A' && fromEbcdic[0xF0] == '0' && fromEbcdic[0x40] == ' ');

void rpc_ndr_from_ebcdic(u8 *Text, size_t Size)
{
    for (size_t at = 0; at < Size; ++at) Text[at] = fromEbcdic[Text[at]];
}

// ---- reading

void rpc_ndr_reader_init(rpc_ndr_reader *Reader, const void *Data, size_t Size, ndr_format_t Format)
{
    *Reader = {static_cast<const u8 *>(Data), Size, 0, (Format.Integers & 0xF0) == 0, (Format.Integers & 0x0F) == 1, 0};
}

size_t rpc_ndr_left(const rpc_ndr_reader *Reader)
{
    return Reader->Failed ? 0 : Reader->Size - Reader->Position;
}

void rpc_ndr_read_align(rpc_ndr_reader *Reader, size_t Alignment)
{
    const size_t gap = (0 - Reader->Position) & (Alignment - 1);
    if (gap > rpc_ndr_left(Reader))
        Reader->Failed = 1;
    else
        Reader->Position += gap;
}

const u8 *rpc_ndr_read_octets(rpc_ndr_reader *Reader, size_t Size)
{
    if (Reader->Failed || Size > Reader->Size - Reader->Position) {
        Reader->Failed = 1;
        return nullptr;
    }
    const u8 *octets = Reader->Data + Reader->Position;
    Reader->Position += Size;
    return octets;
}

u8 rpc_ndr_read_u8(rpc_ndr_reader *Reader)
{
    const u8 *octet = rpc_ndr_read_octets(Reader, 1);
    return octet ? *octet : 0;
}

u16 rpc_ndr_read_u16(rpc_ndr_reader *Reader)
{
    rpc_ndr_read_align(Reader, 2);
    const u8 *octets = rpc_ndr_read_octets(Reader, 2);
    if (!octets) return 0;
    u16 value;
    memcpy(&value, octets, sizeof value);
    return Reader->BigEndian ? __builtin_bswap16(value) : value;
}

u32 rpc_ndr_read_u32(rpc_ndr_reader *Reader)
{
    rpc_ndr_read_align(Reader, 4);
    const u8 *octets = rpc_ndr_read_octets(Reader, 4);
    if (!octets) return 0;
    u32 value;
    memcpy(&value, octets, sizeof value);
    return Reader->BigEndian ? __builtin_bswap32(value) : value;
}

void rpc_ndr_read_uuid(rpc_ndr_reader *Reader, uuid_t *Uuid)
{
    memset(Uuid, 0, sizeof *Uuid);
    Uuid->time_low = rpc_ndr_read_u32(Reader);
    Uuid->time_mid = rpc_ndr_read_u16(Reader);
    Uuid->time_hi_and_version = rpc_ndr_read_u16(Reader);
    const u8 *octets = rpc_ndr_read_octets(Reader, 8);
    if (octets) memcpy(reinterpret_cast<u8 *>(Uuid) + 8, octets, 8);
}

void rpc_ndr_read_string(rpc_ndr_reader *Reader, i32 Conformant, char *Text, size_t Size)
{
    Text[0] = '\0';
    const u32 maximum = Conformant ? rpc_ndr_read_u32(Reader) : 0xFFFFFFFFu;
    const u32 offset = rpc_ndr_read_u32(Reader);
    const u32 count = rpc_ndr_read_u32(Reader);
    if (offset != 0 || count == 0 || count > maximum || count > Size) Reader->Failed = 1;
    const u8 *characters = rpc_ndr_read_octets(Reader, count);
    if (!characters) return;
    if (characters[count - 1] != '\0') {
        Reader->Failed = 1;
        return;
    }
    memcpy(Text, characters, count);
    if (Reader->Ebcdic) rpc_ndr_from_ebcdic(reinterpret_cast<u8 *>(Text), count);
}

// ---- writing

void rpc_ndr_writer_init(rpc_ndr_writer *Writer, u8 *Room, size_t RoomSize, i32 BigEndian)
{
    *Writer = {Room, 0, Room ? RoomSize : 0, Room, static_cast<u8>(BigEndian != 0), 0};
}

void rpc_ndr_writer_free(rpc_ndr_writer *Writer)
{
    if (Writer->Data != Writer->Room) free(Writer->Data);
    rpc_ndr_writer_init(Writer, nullptr, 0, Writer->BigEndian);
}

static bool grow(rpc_ndr_writer *writer, size_t size)
{
    size_t capacity = writer->Capacity < 256 ? 256 : writer->Capacity;
    while (capacity < size) {
        if (capacity > SIZE_MAX / 2) return false;
        capacity *= 2;
    }
    const bool moved = writer->Data == writer->Room; // the first room is not ours to resize
    u8 *data = static_cast<u8 *>(moved ? Plat_Sys.Malloc(capacity) : Plat_Sys.Realloc(writer->Data, capacity));
    if (!data) return false;
    if (moved && writer->Size != 0) memcpy(data, writer->Room, writer->Size);
    writer->Data = data;
    writer->Capacity = capacity;
    return true;
}

u8 *rpc_ndr_write_room(rpc_ndr_writer *Writer, size_t Size)
{
    if (Writer->Failed) return nullptr;
    if (Size > Writer->Capacity - Writer->Size) {
        if (Size > SIZE_MAX - Writer->Size || !grow(Writer, Writer->Size + Size)) {
            Writer->Failed = 1;
            return nullptr;
        }
    }
    u8 *room = Writer->Data + Writer->Size;
    Writer->Size += Size;
    return room;
}

void rpc_ndr_write_octets(rpc_ndr_writer *Writer, const void *Data, size_t Size)
{
    if (Size == 0) return;
    u8 *room = rpc_ndr_write_room(Writer, Size);
    if (room) memcpy(room, Data, Size);
}

void rpc_ndr_write_align(rpc_ndr_writer *Writer, size_t Alignment)
{
    const size_t gap = (0 - Writer->Size) & (Alignment - 1);
    if (gap == 0) return;
    u8 *room = rpc_ndr_write_room(Writer, gap);
    if (room) memset(room, 0, gap);
}

void rpc_ndr_write_u8(rpc_ndr_writer *Writer, u8 Value)
{
    rpc_ndr_write_octets(Writer, &Value, 1);
}

void rpc_ndr_write_u16(rpc_ndr_writer *Writer, u16 Value)
{
    rpc_ndr_write_align(Writer, 2);
    if (Writer->BigEndian) Value = __builtin_bswap16(Value);
    rpc_ndr_write_octets(Writer, &Value, 2);
}

void rpc_ndr_write_u32(rpc_ndr_writer *Writer, u32 Value)
{
    rpc_ndr_write_align(Writer, 4);
    if (Writer->BigEndian) Value = __builtin_bswap32(Value);
    rpc_ndr_write_octets(Writer, &Value, 4);
}

void rpc_ndr_write_uuid(rpc_ndr_writer *Writer, const uuid_t *Uuid)
{
    rpc_ndr_write_u32(Writer, Uuid->time_low);
    rpc_ndr_write_u16(Writer, Uuid->time_mid);
    rpc_ndr_write_u16(Writer, Uuid->time_hi_and_version);
    rpc_ndr_write_octets(Writer, reinterpret_cast<const u8 *>(Uuid) + 8, 8);
}

void rpc_ndr_write_string(rpc_ndr_writer *Writer, i32 Conformant, const char *Text)
{
    const size_t count = strlen(Text) + 1;
    if (count > 0xFFFFFFFFu) {
        Writer->Failed = 1;
        return;
    }
    if (Conformant) rpc_ndr_write_u32(Writer, static_cast<u32>(count));
    rpc_ndr_write_u32(Writer, 0);
    rpc_ndr_write_u32(Writer, static_cast<u32>(count));
    rpc_ndr_write_octets(Writer, Text, count);
}
