#ifndef FAULT_MAKERS_H
#define FAULT_MAKERS_H

// Real faults of this machine, in instructions of their own: no sanitizer has checked them before the machine does.

#include <signal.h>

#include <cstdint>

#include "vela_types.h"

// Gives faults back to the system where a sanitizer has handlers of its own, which would come behind ours. Before the first
// guard or filter.
[[maybe_unused]] static void Make_PlainFaults()
{
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP}) signal(fault, SIG_DFL);
}

[[maybe_unused]] static __attribute__((noinline)) void Make_Write(uintptr_t Address)
{
    asm volatile("movl $1, (%%rax)" : : "a"(Address) : "memory");
}

[[maybe_unused]] static __attribute__((noinline)) void Make_Read(uintptr_t Address)
{
    asm volatile("movl (%%rax), %%ecx" : : "a"(Address) : "rcx", "memory");
}

[[maybe_unused]] static __attribute__((noinline)) void Make_Division()
{
    asm volatile("xorl %%edx, %%edx\n\txorl %%ecx, %%ecx\n\tmovl $5, %%eax\n\tdivl %%ecx"
                 :
                 :
                 : "rax", "rcx", "rdx", "cc");
}

[[maybe_unused]] static __attribute__((noinline)) void Make_IllegalInstruction()
{
    asm volatile("ud2");
}

[[maybe_unused]] static __attribute__((noinline)) void Make_Breakpoint()
{
    asm volatile("int3");
}

// Calls itself until the stack has no room.
[[maybe_unused]] static __attribute__((noinline)) u32 Make_StackOverflow(u32 Depth)
{
    volatile u8 room[8192];
    room[Depth % sizeof room] = static_cast<u8>(Depth);
    asm volatile("" : : "r"(room) : "memory");
    return Depth == UINT32_MAX ? 0 : Make_StackOverflow(Depth + 1) + room[Depth % sizeof room];
}

#endif
