#ifndef QRT_TOWER_H
#define QRT_TOWER_H

// Protocol towers (C706 appendices I and L).
//
//   floor count 2, then each floor: left length 2, left octets, right length 2, right octets
//
//   FLOOR  LEFT                                             RIGHT
//       1  0D, interface UUID, major version                minor version
//       2  0D, NDR UUID, 2                                  0
//       3  0B connection-oriented, 0C local                 minor version of the protocol
//       4  07 TCP                                           port, big-endian
//       5  09 IP                                            address, big-endian
//       4  20 socket of this host                           path with its NUL
//
// Everything else is little-endian, whatever the label of the PDU around it.

#include "qrt_int.h"

constexpr size_t QRT_TOWER_SIZE = 256; // of any tower that Qrt_WriteTower makes

struct Qrt_Tower {
    rpc_if_id_t Interface;
    uuid_t Syntax;
    u16 SyntaxVersion;
    bool Known; // the protocols are ones of this runtime; the fields below hold
    Qrt_Protocol Protocol;
    u16 Port; // TCP
    u8 Address[4]; // TCP
    char Path[QRT_PATH_SIZE]; // local
};

// Reads a tower; false when its octets make no sense. One over protocols of others is read with Known false.
bool Qrt_ReadTower(const u8 *Data, size_t Size, Qrt_Tower *Tower);

// Writes a tower into at least QRT_TOWER_SIZE octets and gives its length.
size_t Qrt_WriteTower(const Qrt_Tower *Tower, u8 *Out);

#endif
