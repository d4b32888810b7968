// A terminal process of a region, in one screen of code: takes a host record, turns it into the library's ASCII form,
// scans it into a screen map, and dumps the ring, so that the trace of every call can be read back.
//
//     terminal_demo RECORD        RECORD is a file with a 3270 host record in EBCDIC form, its command byte first

#include "velaco.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <vector>

namespace
{

constexpr u32 noDescriptor = 0xFFFFFFFF;

u32 allocate(u32 size, void **block)
{
    *block = std::malloc(size != 0 ? size : 1);
    return *block == nullptr ? TERBM_ERR_NO_STORAGE : ERZ_OK;
}

u32 release(void *block)
{
    std::free(block);
    return ERZ_OK;
}

// Sends one run of text through the conversion that the descriptor stands for.
u32 convert(u32 descriptor, u8 *source, u16 sourceLength, u8 *target, u16 targetSize, u16 *outLength)
{
    const char *from = reinterpret_cast<const char *>(source);
    char *to = reinterpret_cast<char *>(target);
    u32 sourceLeft = sourceLength;
    u32 targetLeft = targetSize;
    const i32 code = SupOS_IcnvCode(descriptor, &from, &sourceLeft, &to, &targetLeft);
    *outLength = static_cast<u16>(targetSize - targetLeft);
    return static_cast<u32>(code);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s RECORD\n", argv[0]);
        return 2;
    }
    std::ifstream in(argv[1], std::ios::binary);
    std::vector<u8> record{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in || record.empty() || record.size() > 0xFFFF) {
        std::fprintf(stderr, "%s: no record of 1 to 65535 bytes\n", argv[1]);
        return 1;
    }

    InfTR_SInit(argv[0], std::getenv("VELAREGION"));
    // Trace rests while the first open reads the whole catalogue of code sets, about a thousand calls.
    const u32 wanted = InfTR_MasterTraceArea.TraceFlagMaster;
    InfTR_MasterTraceArea.TraceFlagMaster = 0;
    const u32 descriptor = SupOS_IcnvOpen("QMX-850", "QMX-037");
    InfTR_MasterTraceArea.TraceFlagMaster = wanted;
    if (descriptor == noDescriptor) {
        std::fprintf(stderr, "no conversion from QMX-037 to QMX-850\n");
        return 1;
    }

    static u8 screen[TERBM_SCREEN_MAP_SIZE];
    u8 *stream = record.data();
    u16 length = static_cast<u16>(record.size());
    u32 code =
        TerBM_Translate(&stream, &length, 1, 1, 1, allocate, release, convert, static_cast<i32>(descriptor), 1, screen);
    if (code == ERZ_OK) code = TerBM_ParseTIOA(&stream, &length, screen, allocate, release, 1);
    if (code == ERZ_OK) {
        unsigned fields = 0;
        for (const u8 position : screen) fields += position != 0;
        std::printf("translated %zu bytes to %u, with %u fields on the screen\n", record.size(), length, fields);
    } else {
        std::printf("translation ended with code 0x%X\n", code);
    }
    if (stream != record.data()) std::free(stream);
    SupOS_IcnvClose(descriptor);

    InfTR_DumpRingBuffer(static_cast<u32>(InfTR_GetNextDumpIndex()), nullptr);
    InfTR_ProcessTerminate();
    return code == ERZ_OK ? 0 : 1;
}
