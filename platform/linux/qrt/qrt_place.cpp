// Where local endpoints live, which port mappers have, and the clock of deadlines.

#include <strings.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plat_rundir.h"
#include "qrt_int.h"

static const char *variable(const char *name)
{
    const char *value = getenv(name);
    return value && *value ? value : nullptr;
}

bool Qrt_LocalPath(const char *Endpoint, char *Out, size_t Size)
{
    int length;
    if (strchr(Endpoint, '/')) {
        length = snprintf(Out, Size, "%s", Endpoint);
    } else {
        char directory[QRT_PATH_SIZE];
        if (Plat_RunDirectory(directory, sizeof directory) != 0) return false;
        length = snprintf(Out, Size, "%s/%s", directory, Endpoint);
    }
    return length > 0 && static_cast<size_t>(length) < Size;
}

bool Qrt_IsThisHost(const char *Host)
{
    char own[257] = {};
    return *Host == '\0' || (Plat_Sys.Gethostname(own, sizeof own - 1) == 0 && strcasecmp(Host, own) == 0);
}

constexpr u16 mapperPort = 135;

u16 Qrt_MapperPort()
{
    const char *value = variable("QRT_EPMAP_PORT");
    if (!value) return mapperPort;
    char *end = nullptr;
    const unsigned long port = strtoul(value, &end, 10);
    return *end == '\0' && port >= 1 && port <= 65535 ? static_cast<u16>(port) : mapperPort;
}

void Qrt_MapperSocketName(u16 Port, char *Out, size_t Size)
{
    if (Port == mapperPort)
        snprintf(Out, Size, "epmap");
    else
        snprintf(Out, Size, "epmap.%u", Port);
}

i64 Qrt_Now()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<i64>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

i64 Qrt_After(i64 Milliseconds)
{
    return Milliseconds == QRT_NEVER ? QRT_NEVER : Qrt_Now() + Milliseconds;
}

i32 Qrt_Remaining(i64 Deadline)
{
    if (Deadline == QRT_NEVER) return -1;
    const i64 left = Deadline - Qrt_Now();
    if (left <= 0) return 0;
    return left > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<i32>(left);
}
