#ifndef NO_MEMORY_H
#define NO_MEMORY_H

// Failing allocations of the plain heap.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NO_MEMORY_SKIP() GTEST_SKIP() << "the heap of a sanitizer cannot be limited"
#else
#define NO_MEMORY_SKIP() (void)0
#endif

// Takes the heap's last block. For a process that is not to go on: nothing is given back.
inline void NoMemory_Exhaust()
{
    const rlimit none = {0, 0};
    if (setrlimit(RLIMIT_AS, &none) != 0) _exit(250);
    // below 2 KiB each size may have blocks of its own that serve no other
    for (size_t size = 1 << 20; size >= 8; size = size > 2048 ? size / 2 : size - 8) {
        void *volatile block;
        do block = malloc(size);
        while (block != nullptr);
    }
}

// The result, 0 to 255, of a call in a child process; -1 when the child died. A call that runs without memory must need
// none for anything else: no streams, no assertions.
template <class Call>
int NoMemory_RunInChild(Call &&call)
{
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) _exit(call());
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

// The same of a call that finds no memory from its start.
template <class Call>
int NoMemory_Run(Call &&call)
{
    return NoMemory_RunInChild([&] {
        NoMemory_Exhaust();
        return call();
    });
}

#endif
