#ifndef TERBM_SUPPORT_H
#define TERBM_SUPPORT_H

// Calls of the 3270 streams for tests: streams and maps in blocks of exactly their size, counted storage, conversions
// as closures.

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ter_reference.h"
#include "terbm_stream.h"

using Ter_Bytes = Ref_Bytes;

// "11 C1 50" as bytes.
inline Ter_Bytes Ter_Hex(const std::string &Text)
{
    Ter_Bytes bytes;
    std::istringstream in(Text);
    for (std::string word; in >> word;) bytes.push_back(static_cast<u8>(std::stoul(word, nullptr, 16)));
    return bytes;
}

inline Ter_Bytes Ter_Text(const std::string &Text)
{
    return Ter_Bytes(Text.begin(), Text.end());
}

inline Ter_Bytes Ter_Join(std::initializer_list<Ter_Bytes> Parts)
{
    Ter_Bytes all;
    for (const Ter_Bytes &part : Parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

// --- Storage ---

struct Ter_StorageState {
    std::vector<u32> Asked; // sizes, in order
    std::set<void *> Live;
    u32 FailAt = 0; // the number, from 1, of the request that is refused
    u32 Failure = 99; // with this result
    u32 Released = 0;
};
inline Ter_StorageState Ter_Storage;

inline u32 Ter_Allocate(u32 Size, void **Block)
{
    Ter_Storage.Asked.push_back(Size);
    if (Ter_Storage.Asked.size() == Ter_Storage.FailAt) return Ter_Storage.Failure;
    *Block = std::malloc(Size);
    if (*Block == nullptr) abort();
    std::memset(*Block, 0xA5, Size);
    Ter_Storage.Live.insert(*Block);
    return 0;
}

// A block that is not in hand, or no more, ends the test program.
inline u32 Ter_Free(void *Block)
{
    if (Ter_Storage.Live.erase(Block) != 1) abort();
    ++Ter_Storage.Released;
    std::free(Block);
    return 0;
}

// A block of exactly these bytes, from the same storage but not counted.
inline u8 *Ter_Exact(const Ter_Bytes &Bytes)
{
    u8 *const block = static_cast<u8 *>(std::malloc(Bytes.size()));
    if (block == nullptr) abort();
    if (!Bytes.empty()) std::memcpy(block, Bytes.data(), Bytes.size());
    Ter_Storage.Live.insert(block);
    return block;
}

inline void Ter_ReleaseAll()
{
    for (void *block : Ter_Storage.Live) std::free(block);
    Ter_Storage = {};
}

inline Ter_Bytes Ter_EmptyMap()
{
    return Ter_Bytes(TERBM_SCREEN_MAP_SIZE, 0);
}

// --- Scan ---

struct Ter_ScanResult {
    u32 Code;
    bool Replaced;
    Ter_Bytes Stream; // what Buffer and Length say afterwards
    std::vector<u32> Asked;
    u32 Released;
    size_t Live; // blocks in hand, the stream among them
};

// The map is changed where one is given.
inline Ter_ScanResult Ter_Scan(const Ter_Bytes &Stream, Ter_Bytes *Map, i32 InsertAddresses, u32 FailAt = 0)
{
    Ter_Storage = {};
    Ter_Storage.FailAt = FailAt;
    u8 *const stream = Ter_Exact(Stream);
    u8 *const map = Map != nullptr ? Ter_Exact(*Map) : nullptr;
    u8 *buffer = stream;
    u16 length = static_cast<u16>(Stream.size());

    const u32 code = TerBM_ParseTIOA(&buffer, &length, map, Ter_Allocate, Ter_Free, InsertAddresses);
    Ter_ScanResult result = {code,
                             buffer != stream,
                             Ter_Bytes(buffer, buffer + length),
                             Ter_Storage.Asked,
                             Ter_Storage.Released,
                             Ter_Storage.Live.size() - (map != nullptr)};
    if (map != nullptr) Map->assign(map, map + Map->size());
    Ter_ReleaseAll();
    return result;
}

// --- Translation ---

inline Ref_Convert Ter_Conversion;

// Hands the call to the closure, and its whole answer back: also one larger than the room that was told.
inline u32 Ter_Convert(u32 Descriptor, u8 *Source, u16 SourceLength, u8 *Target, u16 TargetSize, u16 *OutLength)
{
    const Ref_Converted converted = Ter_Conversion(Descriptor, Ter_Bytes(Source, Source + SourceLength), TargetSize);
    if (!converted.Text.empty()) std::memcpy(Target, converted.Text.data(), converted.Text.size());
    *OutLength = static_cast<u16>(converted.Text.size());
    return converted.Code;
}

// Every byte as it is.
inline Ref_Converted Ter_Identity(u32, const Ter_Bytes &Text, u16)
{
    return {0, Text};
}

struct Ter_TranslateResult {
    u32 Code;
    bool Replaced;
    Ter_Bytes Source; // the caller's first block afterwards
    Ter_Bytes Result; // what Buffer and Length say, on success
    u16 Length;
    std::vector<u32> Asked;
    u32 Released;
    size_t Live;
};

// Room: bytes of the caller's block, where more than the stream's are needed for a result that is written over it.
inline Ter_TranslateResult Ter_Translate(const Ter_Bytes &Stream, const Ref_Arguments &Arguments,
                                         const Ref_Convert &Convert = Ter_Identity, size_t Room = 0)
{
    Ter_Storage = {};
    Ter_Storage.FailAt = Arguments.FailedAllocation;
    Ter_Conversion = Convert;
    Ter_Bytes block = Stream;
    if (Room > block.size()) block.resize(Room);
    u8 *const stream = Ter_Exact(block);
    u8 *const map = Arguments.Map != nullptr ? Ter_Exact(*Arguments.Map) : nullptr;
    u8 *buffer = stream;
    u16 length = static_cast<u16>(Stream.size());

    const u32 code =
        TerBM_Translate(&buffer, &length, Arguments.HasCommand, Arguments.NoPrefix, Arguments.SourceIsEbcdic,
                        Ter_Allocate, Ter_Free, Ter_Convert, Arguments.Descriptor, Arguments.DoubleByteMode, map);
    Ter_TranslateResult result = {code,
                                  buffer != stream,
                                  Ter_Bytes(stream, stream + Stream.size()),
                                  {},
                                  length,
                                  Ter_Storage.Asked,
                                  Ter_Storage.Released,
                                  Ter_Storage.Live.size() - (map != nullptr)};
    if (code == 0) result.Result.assign(buffer, buffer + length);
    Ter_ReleaseAll();
    return result;
}

// --- Recorded records ---

// Where the recorded records lie; they are no part of this project.
inline std::string Ter_RecordsDirectory()
{
    return std::string(VELA_TEST_SOURCE_DIR) + "/../shared/3270";
}

inline Ter_Bytes Ter_ReadFile(const std::string &Path)
{
    std::ifstream in(Path, std::ios::binary);
    return Ter_Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

#endif
