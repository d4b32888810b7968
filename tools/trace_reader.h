#ifndef TRACE_READER_H
#define TRACE_READER_H

// Reads trace files: ring dumps and auxiliary files. docs/formats.md has the layouts.

#include "inftr.h"

#include <string>
#include <vector>

// One record as it stands in a file, with what the reader worked out.
struct Trace_Record {
    InfTR_TraceHeader Header{};
    std::string Data; // DataLength bytes, padding included
    bool Lost = false; // the mark of a record that could not be built
    u32 Component = 0; // of an entry: that of the matching exit, for the header holds the one before
    i64 Nanoseconds = -1; // of an exit: the time since its entry, -1 without one

    std::string Function; // empty where the kind of record holds none
    std::string Text; // argument or mid-point text
    bool HasPoint = false;
    u32 Point = 0;
    bool HasCode = false;
    u32 Code = 0; // return code, or the value of a typed exit
};

struct Trace_File {
    std::string Path;
    std::string Region;
    std::string Program;
    bool IsDump = false;
    size_t Skipped = 0; // bytes that belong to no whole record: cut records of earlier laps
    std::vector<Trace_Record> Records;
};

// Throws Vela_Failure when the contents are no trace file.
Trace_File Trace_Read(const std::string &Path, const std::string &Contents);

// All records of several files by time, each once; then entries and exits are matched.
std::vector<Trace_Record> Trace_Merge(std::vector<Trace_File> &Files);

// "entry", "exit", "error" and so on.
const char *Trace_KindName(const Trace_Record &Record);
bool Trace_IsEntry(const Trace_Record &Record);
bool Trace_IsExit(const Trace_Record &Record);

#endif
