#ifndef RING_READER_H
#define RING_READER_H

// The trace as a witness of tests: starts it, and reads the records of the live ring.
//
//     Ring_TraceOn();
//     SupOS_PipePeek(&pipe, 0);
//     EXPECT_EQ(Ring_LastExitPoint("SupOS_PipePeek"), 5u);

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "inftr.h"

struct Ring_Record {
    InfTR_TraceHeader Header;
    bool Lost; // the mark of a lost record: a bare header without eye-catcher
    std::string Function; // entries, exits, mid points, hex data; as far as the record holds the name
    std::string Text; // arguments of entries and mid points, as far as DataLength reaches
    u32 Point; // exits: the exit point; mid points, hex data, events, exceptions: the identifier
    u32 Code; // error exits: the code; errors: the message number
    u32 Value; // typed exits: the value's bytes; errors: the serial number
    std::vector<u8> Data; // all data bytes of the record
};

// Starts trace to the ring at this specification, with a scratch root where none is set. In a process that has started
// already it only changes the flags and the specification.
void Ring_TraceOn(const char *Specification = "ALL=5");

// Turns the master switch off; the ring keeps what it has.
void Ring_TraceOff();

// All whole records of the ring, oldest first.
std::vector<Ring_Record> Ring_Records();

// The exit point in the newest exit record of a function; 0xFFFFFFFF when it has none.
u32 Ring_LastExitPoint(const char *Function);

// How many records name the function.
size_t Ring_Count(const char *Function);

// Empties the ring.
void Ring_Clear();

// A thread that leaves no trace data behind: it ends with InfTR_ThreadExit.
template <class Call>
std::thread Ring_Thread(Call call)
{
    return std::thread([call = std::move(call)]() mutable {
        call();
        InfTR_ThreadExit(INFTR_COMPONENT_SUPOS, "Ring_Thread", 1);
    });
}

// Records of a ring image: its header and data, as in a dump file.
std::vector<Ring_Record> Ring_RecordsOfImage(const void *Image, size_t Size);

// Records that stand one behind another, as in an auxiliary file behind its header.
std::vector<Ring_Record> Ring_RecordsOfBytes(const u8 *Bytes, size_t Size);

#endif
