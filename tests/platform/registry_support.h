#ifndef REGISTRY_SUPPORT_H
#define REGISTRY_SUPPORT_H

// Short forms of the registry calls, for tests that look at what is on disk too.

#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "scratch_root.h"
#include "win32_registry.h"

// An empty registry; returns its directory.
inline std::string Registry_Empty()
{
    const std::string directory = Scratch_MakeRoot(nullptr) + "/empty";
    setenv("SORREL_REGISTRY", directory.c_str(), 1);
    return directory;
}

inline HKEY Registry_Make(const char *Path, u32 Access = KEY_READ | KEY_WRITE)
{
    HKEY key = nullptr;
    if (getenv("SORREL_REGISTRY") == nullptr) abort(); // never the machine's own
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, Path, 0, nullptr, 0, Access, nullptr, &key, nullptr), 0) << Path;
    return key;
}

inline HKEY Registry_Open(const char *Path, u32 Access = KEY_READ)
{
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, Path, 0, Access, &key), 0) << Path;
    return key;
}

inline i32 Registry_OpenResult(const char *Path, u32 Access = KEY_READ)
{
    HKEY key = nullptr;
    const i32 result = RegOpenKeyExA(HKEY_LOCAL_MACHINE, Path, 0, Access, &key);
    EXPECT_EQ(key != nullptr, result == 0);
    if (result == 0) RegCloseKey(key);
    return result;
}

// Stores a text with its terminator.
inline i32 Registry_Set(HKEY Key, const char *Name, const std::string &Text)
{
    return RegSetValueExA(Key, Name, 0, REG_SZ, reinterpret_cast<const u8 *>(Text.c_str()),
                          static_cast<u32>(Text.size() + 1));
}

// Stores bytes as they are; the byte behind them is 'x'.
inline i32 Registry_SetBytes(HKEY Key, const char *Name, const std::string &Bytes)
{
    const std::string padded = Bytes + "x";
    return RegSetValueExA(Key, Name, 0, REG_SZ, reinterpret_cast<const u8 *>(padded.data()),
                          static_cast<u32>(Bytes.size()));
}

// The stored bytes, or "error N".
inline std::string Registry_Get(HKEY Key, const char *Name)
{
    u8 data[4096];
    u32 size = sizeof data, type = 99;
    const i32 result = RegQueryValueExA(Key, Name, nullptr, &type, data, &size);
    if (result != 0) return "error " + std::to_string(result);
    EXPECT_EQ(type, REG_SZ);
    return std::string(reinterpret_cast<char *>(data), size);
}

inline std::string Registry_Bytes(const char *Text)
{
    return std::string(Text, strlen(Text) + 1);
}

#endif
