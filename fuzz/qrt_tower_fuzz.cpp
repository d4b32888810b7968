// Input: a protocol tower.
// Must hold: nothing outside it is read; a tower of known protocols, written again, is read as the same.

#include "fuzz_support.h"

#include "qrt_tower.h"

extern "C" int LLVMFuzzerTestOneInput(const u8 *Data, size_t Size)
{
    if (Size > 0xFFFF) return 0;
    u8 *octets = Fuzz_ExactCopy(Data, Size);
    Qrt_Tower tower;
    if (Qrt_ReadTower(octets, Size, &tower) && tower.Known) {
        u8 out[QRT_TOWER_SIZE];
        Qrt_Tower again;
        FUZZ_REQUIRE(Qrt_ReadTower(out, Qrt_WriteTower(&tower, out), &again) && again.Known);
        FUZZ_REQUIRE(again.Protocol == tower.Protocol && again.Port == tower.Port);
        FUZZ_REQUIRE(std::memcmp(&again.Interface, &tower.Interface, sizeof tower.Interface) == 0);
        FUZZ_REQUIRE(std::strcmp(again.Path, tower.Path) == 0);
    }
    Fuzz_Free(octets);
    return 0;
}
