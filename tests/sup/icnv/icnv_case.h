#ifndef ICNV_CASE_H
#define ICNV_CASE_H

// Conversions for tests without files: a catalogue in memory, tables of any contents, and one call of the engine
// beside one of the reference.

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "icnv_reference.h"
#include "supos_icnv_engine.h"
#include "supos_ikern_int.h"

using Case_Bytes = std::vector<u8>;

// Numbers from a seed: the same on every machine.
struct Case_Random {
    u64 State;
    u64 Next()
    {
        u64 z = State += 0x9E3779B97F4A7C15u;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
        z = (z ^ z >> 27) * 0x94D049BB133111EBu;
        return z ^ z >> 31;
    }
    u32 Below(u32 Limit) { return static_cast<u32>((Next() >> 32) * Limit >> 32); }
    bool OneIn(u32 Chance) { return Below(Chance) == 0; }
    u8 Byte() { return static_cast<u8>(Next() >> 40); }
};

// A catalogue that holds up to three tables, and the descriptor to convert through them.
struct Case_Setup {
    IcnvCatalogue Catalogue = {};
    IcnvLeadRanges Lead[ICNV_LEAD_ROWS] = {};
    IcnvEucWidths Widths[ICNV_EUC_ROWS] = {};
    IcnvTable Tables[3] = {};
    Case_Bytes Data[3];
    IcnvDescriptor Descriptor = {};
    IcnvPlan Plan = {};
    Ref_Conversion Reference;

    Case_Setup() { tks_MutexInit(&Catalogue.tableLock); }
    ~Case_Setup();
    Case_Setup(const Case_Setup &) = delete;
    Case_Setup &operator=(const Case_Setup &) = delete;

    // Makes this the process's catalogue, and the reference and the plan from what the fields say.
    void Use(u32 TableCount);
};

struct Case_Answer {
    i32 Code;
    size_t SourceMoved, TargetMoved, Written;
    Case_Bytes Target;
};

// How far a call may leave the plain loops: not at all, for long stretches, or for whole texts, as exported calls do.
enum Case_Way { Case_Plain, Case_Quick, Case_Straight };

// One call of the engine. Buffers stand in blocks of just their size, Align bytes behind a boundary of 64.
Case_Answer Case_Run(const Case_Setup &Setup, const Case_Bytes &Source, const Case_Bytes &Target, size_t SourceAlign,
                     size_t TargetAlign, Case_Way Way);

// Empty when both answers agree, else what differs, with the bytes to repeat it.
std::string Case_Compare(const Case_Setup &Setup, const Case_Bytes &Source, const Case_Bytes &Target,
                         const Case_Answer &Engine);

#endif
