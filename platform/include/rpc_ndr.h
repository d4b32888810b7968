#ifndef RPC_NDR_H
#define RPC_NDR_H

/* Reading and writing octet streams in Network Data Representation (C706 chapter 14).
 *
 * Both sides carry a sticky mark: once a read found too little, or a write no memory, every further call does nothing
 * and gives zeros, so that a whole record is read first and looked at once. Alignment counts from the start of the
 * stream. A reader touches nothing outside Data[0..Size). */

#include "rpc_types.h"

PLAT_BEGIN

typedef struct rpc_ndr_reader {
    const u8 *Data;
    size_t Size;
    size_t Position;
    u8 BigEndian;
    u8 Ebcdic; /* characters of the sender */
    u8 Failed;
} rpc_ndr_reader;

/* Data is on the heap once it has outgrown the room given at first; rpc_ndr_writer_free releases it. */
typedef struct rpc_ndr_writer {
    u8 *Data;
    size_t Size;
    size_t Capacity;
    u8 *Room; /* the caller's first room, never freed; may be NULL */
    u8 BigEndian;
    u8 Failed;
} rpc_ndr_writer;

PLAT_API void rpc_ndr_reader_init(rpc_ndr_reader *Reader, const void *Data, size_t Size, ndr_format_t Format);

/* Moves to a multiple of Alignment, a power of two. */
PLAT_API void rpc_ndr_read_align(rpc_ndr_reader *Reader, size_t Alignment);
PLAT_API u8 rpc_ndr_read_u8(rpc_ndr_reader *Reader);
PLAT_API u16 rpc_ndr_read_u16(rpc_ndr_reader *Reader);
PLAT_API u32 rpc_ndr_read_u32(rpc_ndr_reader *Reader);
PLAT_API void rpc_ndr_read_uuid(rpc_ndr_reader *Reader, uuid_t *Uuid);

/* The next Size octets where they stand; NULL when there are not so many. */
PLAT_API const u8 *rpc_ndr_read_octets(rpc_ndr_reader *Reader, size_t Size);

/* A string: with Conformant, max count first; then offset, actual count, characters. At most Size bytes with the
 * terminator, which must be there, reach Text. */
PLAT_API void rpc_ndr_read_string(rpc_ndr_reader *Reader, i32 Conformant, char *Text, size_t Size);

/* How many octets are left. */
PLAT_API size_t rpc_ndr_left(const rpc_ndr_reader *Reader);

/* Room (may be NULL) holds the first RoomSize octets without a heap block. */
PLAT_API void rpc_ndr_writer_init(rpc_ndr_writer *Writer, u8 *Room, size_t RoomSize, i32 BigEndian);
PLAT_API void rpc_ndr_writer_free(rpc_ndr_writer *Writer);

/* Zero octets up to a multiple of Alignment, a power of two. */
PLAT_API void rpc_ndr_write_align(rpc_ndr_writer *Writer, size_t Alignment);
PLAT_API void rpc_ndr_write_u8(rpc_ndr_writer *Writer, u8 Value);
PLAT_API void rpc_ndr_write_u16(rpc_ndr_writer *Writer, u16 Value);
PLAT_API void rpc_ndr_write_u32(rpc_ndr_writer *Writer, u32 Value);
PLAT_API void rpc_ndr_write_uuid(rpc_ndr_writer *Writer, const uuid_t *Uuid);
PLAT_API void rpc_ndr_write_octets(rpc_ndr_writer *Writer, const void *Data, size_t Size);
PLAT_API void rpc_ndr_write_string(rpc_ndr_writer *Writer, i32 Conformant, const char *Text);

/* Makes room for Size octets at the end and gives their place, not cleared; NULL without memory. */
PLAT_API u8 *rpc_ndr_write_room(rpc_ndr_writer *Writer, size_t Size);

/* EBCDIC (code page 037) to ASCII, for characters of a sender with that label. */
PLAT_API void rpc_ndr_from_ebcdic(u8 *Text, size_t Size);

PLAT_END_C

#endif
