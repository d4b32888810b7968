#ifndef QRT_STREAM_H
#define QRT_STREAM_H

// A connection that carries PDUs: opening, sending, receiving, each with its limit of time.

#include "qrt_int.h"
#include "qrt_pdu.h"

struct Qrt_Stream {
    int Descriptor;
    u8 *Buffer; // what has come in
    size_t Capacity;
    size_t Begin; // the PDU handed out last starts here
    size_t Next; // first octet behind it
    size_t End; // first free octet
};

// How long to wait. Before the first octet of an answer until FirstBy, and then at most Pause milliseconds for each
// further one; FirstBy bounds the whole when WholeBy is set.
struct Qrt_Patience {
    i64 FirstBy;
    i64 Pause;
    bool WholeBy;
    bool Begun; // the answer has begun with an earlier PDU
    u32 LateStatus; // when FirstBy passes
};

// Connects to an endpoint of a host ("" is this one). rpc_s_ok or why not.
u32 Qrt_StreamOpen(Qrt_Stream *Stream, Qrt_Protocol Protocol, const char *Host, const char *Endpoint, i64 Deadline);
void Qrt_StreamClose(Qrt_Stream *Stream);

// False when the peer has closed a connection that should be quiet, or sent something on it.
bool Qrt_StreamIsQuiet(const Qrt_Stream *Stream);

// Sends two runs of octets. Taken receives how many the system has accepted. Answered (may be NULL): sending stops with
// true in it when something comes in meanwhile.
u32 Qrt_StreamSend(Qrt_Stream *Stream, const void *Head, size_t HeadSize, const void *Body, size_t BodySize,
                   const Qrt_Patience *Patience, size_t *Taken, bool *Answered);

// Receives the next PDU, which lives until the next call. Its header has been read and checked.
u32 Qrt_StreamReceive(Qrt_Stream *Stream, const Qrt_Patience *Patience, Qrt_Header *Header, const u8 **Pdu);

// A status for a system call that failed while connecting, or on a connection.
u32 Qrt_StatusOfConnect(int Error);
u32 Qrt_StatusOfTransfer(int Error);

#endif
