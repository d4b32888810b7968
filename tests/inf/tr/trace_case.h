#ifndef TRACE_CASE_H
#define TRACE_CASE_H

// What the suites of this folder share: a start of the trace in a root of its own, a thread of its own for each case
// (record, depth, and file belong to a thread), what a call says on standard error, and faults of the system.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "inftr_int.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "super_logging.h"

using testing::HasSubstr;
using testing::Not;

// A directory for the trace files of this case, empty and fresh.
inline std::string Case_Directory()
{
    static int count = 0;
    if (Scratch_Root().empty()) Scratch_MakeRoot();
    const std::string directory = Scratch_Root() + "/trace" + std::to_string(++count);
    std::filesystem::create_directory(directory);
    return directory;
}

// Caches of earlier starts stay in use by nobody; they are kept so that a leak check finds them.
inline void Case_KeepCache()
{
    static std::vector<void *> *const caches = new std::vector<void *>;
    if (InfTR_CachePtr != nullptr) caches->push_back(InfTR_CachePtr);
}

// Starts the trace anew with this value of VELATRACE; nullptr leaves the variable unset.
inline void Case_Start(const char *Options, const char *Program = "tester", const char *Region = "TESTREG")
{
    if (Scratch_Root().empty()) Scratch_MakeRoot();
    Case_KeepCache();
    if (Options != nullptr)
        setenv("VELATRACE", Options, 1);
    else
        unsetenv("VELATRACE");
    std::string program = Program;
    std::string region = Region;
    InfTR_SInit(program.data(), region.data());
    unsetenv("VELATRACE");
}

// Runs Body in a thread of its own, which then ends its trace.
inline void Case_InThread(const std::function<void()> &Body)
{
    std::thread thread([&Body] {
        Body();
        InfTR_ThreadExit(INFTR_COMPONENT_INFTR, "Case_InThread", 1);
    });
    thread.join();
}

// What Body writes to standard error.
inline std::string Case_Stderr(const std::function<void()> &Body)
{
    testing::internal::CaptureStderr();
    Body();
    return testing::internal::GetCapturedStderr();
}

// Makes the calling thread's message data, so that a later message takes no memory.
inline void Case_MakeMessageData()
{
    Case_Stderr([] { SupER_Log(SUPER_CONSOLE, INFTR_MSG_DUMPED, 1, "x"); });
}

// Gives the system calls back to the system at the end of a case.
struct Case_Faults {
    const Plat_SysTable Saved = Plat_Sys;
    Case_Faults() = default;
    Case_Faults(const Case_Faults &) = delete;
    ~Case_Faults() { Plat_Sys = Saved; }
};

// The newest record of the ring.
inline Ring_Record Case_LastRecord()
{
    const std::vector<Ring_Record> records = Ring_Records();
    EXPECT_FALSE(records.empty());
    return records.empty() ? Ring_Record{} : records.back();
}

// Byte, half and word of a record by their offset from its start.
inline u32 Case_Byte(const Ring_Record &Record, size_t Offset)
{
    return Record.Data.at(Offset - 56);
}

inline u32 Case_Half(const Ring_Record &Record, size_t Offset)
{
    return Case_Byte(Record, Offset) | Case_Byte(Record, Offset + 1) << 8;
}

inline u32 Case_Word(const Ring_Record &Record, size_t Offset)
{
    return Case_Half(Record, Offset) | Case_Half(Record, Offset + 2) << 16;
}

inline std::string Case_Bytes(const Ring_Record &Record, size_t Offset, size_t Size)
{
    std::string bytes;
    for (size_t at = Offset; at < Offset + Size; ++at) bytes += static_cast<char>(Case_Byte(Record, at));
    return bytes;
}

#endif
