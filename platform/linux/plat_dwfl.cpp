// Loading libdw.

#include "plat_dwfl.h"

#include <dlfcn.h>
#include <pthread.h>

#include "plat_sys.h"

static constinit Plat_DwflCalls calls = {};
static constinit bool loaded = false; // guarded by loadLock
static constinit pthread_mutex_t loadLock = PTHREAD_MUTEX_INITIALIZER;

template <class Call>
static bool bind(void *library, const char *name, Call *entry)
{
    *entry = reinterpret_cast<Call>(dlsym(library, name));
    return *entry != nullptr;
}

static bool load()
{
    void *const library = Plat_Sys.Dlopen("libdw.so.1", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return false;
    const bool whole =
        bind(library, "dwfl_begin", &calls.begin) && bind(library, "dwfl_end", &calls.end) &&
        bind(library, "dwfl_linux_proc_report", &calls.linux_proc_report) &&
        bind(library, "dwfl_report_end", &calls.report_end) &&
        bind(library, "dwfl_linux_proc_find_elf", &calls.linux_proc_find_elf) &&
        bind(library, "dwfl_addrmodule", &calls.addrmodule) && bind(library, "dwfl_module_info", &calls.module_info) &&
        bind(library, "dwfl_module_addrinfo", &calls.module_addrinfo) &&
        bind(library, "dwfl_module_getsymtab", &calls.module_getsymtab) &&
        bind(library, "dwfl_module_build_id", &calls.module_build_id) &&
        bind(library, "dwfl_module_getdwarf", &calls.module_getdwarf) &&
        bind(library, "dwfl_module_getsrc", &calls.module_getsrc) && bind(library, "dwfl_lineinfo", &calls.lineinfo);
    if (!whole) dlclose(library);
    return whole;
}

const Plat_DwflCalls *Plat_Dwfl()
{
    pthread_mutex_lock(&loadLock);
    if (!loaded) loaded = load();
    const bool there = loaded;
    pthread_mutex_unlock(&loadLock);
    return there ? &calls : nullptr;
}
