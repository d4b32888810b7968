// The choice among the forms of the inner loops: once, by what the processor and the system offer.

#include "supos_ikern_int.h"

#include <string.h>

const IcnvKernels *IcnvKernelsChosen;

// Bits of extended control register 0: the registers that the system saves.
constexpr u32 ICNV_SAVES_YMM = 0x06;
constexpr u32 ICNV_SAVES_ZMM = 0xE6;

static u32 savedRegisters(void)
{
    if (!__builtin_cpu_supports("avx")) return 0; // tested together with the register's own presence
    u32 low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

static bool hasAvx2(void)
{
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
           __builtin_cpu_supports("popcnt") && (savedRegisters() & ICNV_SAVES_YMM) == ICNV_SAVES_YMM;
}

static bool hasVbmi(void)
{
    return hasAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
           __builtin_cpu_supports("avx512vbmi2") && (savedRegisters() & ICNV_SAVES_ZMM) == ICNV_SAVES_ZMM;
}

const IcnvKernels *SupOS_IcnvChooseKernels(void)
{
    __builtin_cpu_init();
    const IcnvKernels *const best = hasVbmi() ? &IcnvKernelsVbmi : hasAvx2() ? &IcnvKernelsAvx2 : &IcnvKernelsPlain;
    __atomic_store_n(&IcnvKernelsChosen, best, __ATOMIC_RELAXED); // threads that race find the same answer
    return best;
}

bool SupOS_IcnvUseKernels(const char *Name)
{
    __builtin_cpu_init();
    const IcnvKernels *wanted = nullptr;
    if (Name == nullptr)
        wanted = SupOS_IcnvChooseKernels();
    else if (strcmp(Name, IcnvKernelsPlain.name) == 0)
        wanted = &IcnvKernelsPlain;
    else if (strcmp(Name, IcnvKernelsAvx2.name) == 0 && hasAvx2())
        wanted = &IcnvKernelsAvx2;
    else if (strcmp(Name, IcnvKernelsVbmi.name) == 0 && hasVbmi())
        wanted = &IcnvKernelsVbmi;
    if (wanted == nullptr) return false;
    __atomic_store_n(&IcnvKernelsChosen, wanted, __ATOMIC_RELAXED);
    return true;
}
