#ifndef CAPTURE_H
#define CAPTURE_H

// What a call writes to descriptors 1 and 2, past the streams too.
//
// Streams are flushed before and behind the call. Other threads write into the same capture.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

// A descriptor that for now leads into a file in memory.
struct Capture_State {
    int Descriptor;
    int Saved;
    int File;
};

// Stops the test program with the reason: a test without its capture would tell nothing.
inline void Capture_Require(bool Holds)
{
    if (Holds) return;
    perror("capture");
    abort();
}

inline Capture_State Capture_Begin(int Descriptor)
{
    fflush(nullptr);
    Capture_State state = {Descriptor, dup(Descriptor), memfd_create("capture", MFD_CLOEXEC)};
    Capture_Require(state.Saved >= 0 && state.File >= 0 && dup2(state.File, Descriptor) == Descriptor);
    return state;
}

inline std::string Capture_End(const Capture_State &State)
{
    fflush(nullptr);
    Capture_Require(dup2(State.Saved, State.Descriptor) == State.Descriptor);
    close(State.Saved);

    const off_t size = lseek(State.File, 0, SEEK_END);
    Capture_Require(size >= 0);
    std::string text(static_cast<size_t>(size), '\0');
    Capture_Require(pread(State.File, text.data(), text.size(), 0) == size);
    close(State.File);
    return text;
}

template <class Call>
std::string Capture_Stderr(Call &&call)
{
    const Capture_State state = Capture_Begin(2);
    call();
    return Capture_End(state);
}

template <class Call>
std::string Capture_Stdout(Call &&call)
{
    const Capture_State state = Capture_Begin(1);
    call();
    return Capture_End(state);
}

// Both descriptors into one text, in the order of the writes. Standard output is not buffered meanwhile, nor after.
template <class Call>
std::string Capture_Both(Call &&call)
{
    const Capture_State state = Capture_Begin(1);
    setvbuf(stdout, nullptr, _IONBF, 0);
    const int saved = dup(2);
    Capture_Require(saved >= 0 && dup2(1, 2) == 2);
    call();
    fflush(nullptr);
    Capture_Require(dup2(saved, 2) == 2);
    close(saved);
    return Capture_End(state);
}

#endif
