// Protocol towers, read within bounds and written.

#include "qrt_tower.h"

#include "qrt_pdu.h"

#include <cstring>

enum : u8 {
    floorUuid = 0x0D,
    floorConnection = 0x0B,
    floorLocalCall = 0x0C,
    floorTcp = 0x07,
    floorIp = 0x09,
    floorSocket = 0x20,
};

constexpr u16 maxFloors = 16;

struct Side {
    const u8 *Data;
    size_t Size;
};

struct Floor {
    Side Left;
    Side Right;
};

static u16 littleU16(const u8 *data)
{
    return static_cast<u16>(data[0] | data[1] << 8);
}

static bool takeSide(Side *rest, Side *side)
{
    if (rest->Size < 2) return false;
    const size_t size = littleU16(rest->Data);
    if (size > rest->Size - 2) return false;
    *side = {rest->Data + 2, size};
    rest->Data += 2 + size;
    rest->Size -= 2 + size;
    return true;
}

static void readUuid(const u8 *data, uuid_t *uuid)
{
    rpc_ndr_reader reader;
    rpc_ndr_reader_init(&reader, data, sizeof *uuid, QRT_LITTLE_ENDIAN);
    rpc_ndr_read_uuid(&reader, uuid);
}

// Floors 1 and 2: an identifier with its major and minor version.
static bool readSyntax(const Floor *floor, uuid_t *uuid, u16 *major, u16 *minor)
{
    if (floor->Left.Size != 19 || floor->Left.Data[0] != floorUuid || floor->Right.Size < 2) return false;
    readUuid(floor->Left.Data + 1, uuid);
    *major = littleU16(floor->Left.Data + 17);
    *minor = littleU16(floor->Right.Data);
    return true;
}

static bool isKind(const Side &left, u8 kind)
{
    return left.Size == 1 && left.Data[0] == kind;
}

static bool readTcp(const Floor *floors, u16 count, Qrt_Tower *tower)
{
    if (count != 5 || !isKind(floors[2].Left, floorConnection)) return false;
    if (!isKind(floors[3].Left, floorTcp) || floors[3].Right.Size != 2) return false;
    if (!isKind(floors[4].Left, floorIp) || floors[4].Right.Size != 4) return false;
    tower->Protocol = QRT_TCP;
    tower->Port = static_cast<u16>(floors[3].Right.Data[0] << 8 | floors[3].Right.Data[1]);
    memcpy(tower->Address, floors[4].Right.Data, sizeof tower->Address);
    return true;
}

static bool readLocal(const Floor *floors, u16 count, Qrt_Tower *tower)
{
    if (count != 4 || !(isKind(floors[2].Left, floorConnection) || isKind(floors[2].Left, floorLocalCall)))
        return false;
    const Side &path = floors[3].Right;
    if (!isKind(floors[3].Left, floorSocket) || path.Size == 0 || path.Size > sizeof tower->Path) return false;
    if (memchr(path.Data, '\0', path.Size) != path.Data + path.Size - 1) return false;
    tower->Protocol = QRT_LOCAL;
    memcpy(tower->Path, path.Data, path.Size);
    return true;
}

bool Qrt_ReadTower(const u8 *Data, size_t Size, Qrt_Tower *Tower)
{
    *Tower = {};
    if (Size < 2) return false;
    const u16 count = littleU16(Data);
    if (count < 3 || count > maxFloors) return false;
    Floor floors[maxFloors];
    Side rest = {Data + 2, Size - 2};
    for (u16 at = 0; at < count; ++at) {
        if (!takeSide(&rest, &floors[at].Left) || !takeSide(&rest, &floors[at].Right)) return false;
    }
    u16 unused;
    if (!readSyntax(&floors[0], &Tower->Interface.uuid, &Tower->Interface.vers_major, &Tower->Interface.vers_minor))
        return false;
    if (!readSyntax(&floors[1], &Tower->Syntax, &Tower->SyntaxVersion, &unused)) return false;
    const bool ndr = Qrt_UuidEqual(Tower->Syntax, QRT_NDR_SYNTAX) && Tower->SyntaxVersion == 2;
    Tower->Known = ndr && (readTcp(floors, count, Tower) || readLocal(floors, count, Tower));
    return true;
}

// ---- writing. A tower is packed: fields are put one by one, without alignment.

static u8 *putU16(u8 *out, size_t value)
{
    out[0] = static_cast<u8>(value);
    out[1] = static_cast<u8>(value >> 8);
    return out + 2;
}

static u8 *putSyntax(u8 *out, const uuid_t *uuid, u16 major, u16 minor)
{
    rpc_ndr_writer writer;
    u8 octets[16];
    rpc_ndr_writer_init(&writer, octets, sizeof octets, 0);
    rpc_ndr_write_uuid(&writer, uuid);
    out = putU16(out, 19);
    *out++ = floorUuid;
    memcpy(out, octets, sizeof octets);
    out = putU16(out + sizeof octets, major);
    return putU16(putU16(out, 2), minor);
}

static u8 *putFloor(u8 *out, u8 kind, const void *right, size_t size)
{
    out = putU16(out, 1);
    *out++ = kind;
    out = putU16(out, size);
    memcpy(out, right, size);
    return out + size;
}

size_t Qrt_WriteTower(const Qrt_Tower *Tower, u8 *Out)
{
    static constexpr u8 noMinor[2] = {};
    const bool tcp = Tower->Protocol == QRT_TCP;
    u8 *out = putU16(Out, tcp ? 5 : 4);
    out = putSyntax(out, &Tower->Interface.uuid, Tower->Interface.vers_major, Tower->Interface.vers_minor);
    out = putSyntax(out, &QRT_NDR_SYNTAX, 2, 0);
    out = putFloor(out, floorConnection, noMinor, sizeof noMinor);
    if (tcp) {
        const u8 port[2] = {static_cast<u8>(Tower->Port >> 8), static_cast<u8>(Tower->Port)};
        out = putFloor(out, floorTcp, port, sizeof port);
        out = putFloor(out, floorIp, Tower->Address, sizeof Tower->Address);
    } else {
        out = putFloor(out, floorSocket, Tower->Path, strlen(Tower->Path) + 1);
    }
    return static_cast<size_t>(out - Out);
}

static_assert(2 + 2 * (2 + 19 + 2 + 2) + (2 + 1 + 2 + 2) + (2 + 1 + 2 + QRT_PATH_SIZE) <= QRT_TOWER_SIZE);
