// A first call under trace: start the process, call something, dump the ring. `vela trace show` reads the dump.
#include "velaco.h"

#include <cstdio>
#include <cstdlib>

int main(int, char **argv)
{
    InfTR_SInit(argv[0], std::getenv("VELAREGION")); // the trace options come from VELATRACE
    u32 word = 0x01020304;
    SupOS_ByteSwap(&word, 0);
    std::printf("swapped to %08X\n", word);
    InfTR_DumpRingBuffer(static_cast<u32>(InfTR_GetNextDumpIndex()), nullptr);
    InfTR_ProcessTerminate();
    return 0;
}
