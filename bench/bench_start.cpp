// A root for benchmarks: the two registry values without which no process starts, and directories for them.

#include "bench_start.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "inftr.h"
#include "win32_registry.h"

static char root[64];
static pid_t owner;

static void removeRoot()
{
    std::error_code ignored;
    if (getpid() == owner) std::filesystem::remove_all(root, ignored);
}

static void setValue(HKEY Key, const char *Name, const std::string &Value)
{
    const u8 *const bytes = reinterpret_cast<const u8 *>(Value.c_str());
    if (RegSetValueExA(Key, Name, 0, REG_SZ, bytes, static_cast<u32>(Value.size() + 1)) == 0) return;
    fprintf(stderr, "cannot write the registry below %s\n", root);
    exit(1);
}

static void makeRoot()
{
    strcpy(root, "/tmp/vela-bench-XXXXXX");
    if (mkdtemp(root) == nullptr) {
        perror("/tmp/vela-bench-XXXXXX");
        exit(1);
    }
    owner = getpid();
    atexit(removeRoot);
    const std::string below = root;
    for (const char *name : {"/registry", "/install", "/data/vela_regions/BENCH"}) {
        std::filesystem::create_directories(below + name);
    }
    setenv("SORREL_REGISTRY", (below + "/registry").c_str(), 1);
    setenv("SORREL_EVENTLOG", (below + "/events.log").c_str(), 1);

    HKEY key;
    const char *const path = "SOFTWARE\\QMX\\Corvanta-VELA\\CurrentVersion";
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) != 0) {
        fprintf(stderr, "cannot make a registry below %s\n", root);
        exit(1);
    }
    setValue(key, "InstallPath", below + "/install");
    setValue(key, "DataPath", below + "/data");
    RegCloseKey(key);
}

const char *Bench_Root()
{
    return root;
}

void Bench_Start(const char *Velatrace)
{
    if (root[0] == '\0') makeRoot();
    if (Velatrace != nullptr)
        setenv("VELATRACE", Velatrace, 1);
    else
        unsetenv("VELATRACE");
    char program[] = "bench";
    char region[] = "BENCH";
    InfTR_SInit(program, region);
    unsetenv("VELATRACE");
}
