#ifndef CRASH_SUPPORT_H
#define CRASH_SUPPORT_H

// A child that fails under the filter of a region's processes, and what it left.

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "fault_makers.h"
#include "scratch_root.h"
#include "supos_trap_int.h"

// How long a whole failing child may take, its report included.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr i64 Crash_Limit = 20000;
#else
constexpr i64 Crash_Limit = 1000;
#endif

struct Crash_Result {
    int Status; // as waitpid gives it
    std::string Process; // its id in decimal
    std::string FileName; // of the report, in the child's working directory
    std::string Report; // empty without a file
    std::string Errors; // what the child wrote to standard error
    i64 Milliseconds;
};

// Makes a root and a working directory below it, once a test.
inline std::filesystem::path Crash_Directory()
{
    static const std::filesystem::path directory = [] {
        const std::filesystem::path made = std::filesystem::path(Scratch_MakeRoot()) / "work";
        std::filesystem::create_directory(made);
        std::filesystem::current_path(made);
        return made;
    }();
    return directory;
}

// Runs Call in a child that has the filter; a child that comes back ends with status 0.
template <class Call>
Crash_Result Crash_Run(Call &&call)
{
    const std::filesystem::path directory = Crash_Directory();
    const std::filesystem::path errors = directory / "errors";
    fflush(nullptr);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        if (freopen(errors.c_str(), "w", stderr) == nullptr || dup2(fileno(stderr), 2) != 2) _exit(120);
        setvbuf(stderr, nullptr, _IONBF, 0);
        Make_PlainFaults();
        SetUnhandledExceptionFilter(SupOS_ExceptionHandler);
        call();
        _exit(0);
    }
    Crash_Result result = {};
    EXPECT_EQ(waitpid(child, &result.Status, 0), child);
    result.Milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
    result.Process = std::to_string(child);
    result.FileName = directory / ("vela" + result.Process + ".traceback");
    result.Report = Scratch_ReadFile(result.FileName);
    result.Errors = Scratch_ReadFile(errors);
    return result;
}

// As Crash_Run, with the libraries of a report loaded.
template <class Call>
Crash_Result Crash_RunLoaded(Call &&call)
{
    return Crash_Run([&] {
        SupOS_LoadDiagnosticLibraries();
        call();
    });
}

// Expects texts that stand in this order, and each of them.
inline void Crash_ExpectInOrder(const std::string &text, std::initializer_list<const char *> parts)
{
    size_t at = 0;
    for (const char *part : parts) {
        const size_t found = text.find(part, at);
        ASSERT_NE(found, std::string::npos) << "missing behind byte " << at << ": " << part << "\n" << text;
        at = found + 1;
    }
}

#endif
