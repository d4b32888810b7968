#ifndef PLAT_DWFL_H
#define PLAT_DWFL_H

// The calls of libdw, which is loaded at run time where the system has it. Nothing of it is needed to build.
// Declarations after the published interface of elfutils (libdwfl).

#include <elf.h>
#include <sys/types.h>

#include "plat_types.h"

struct Dwfl;
struct Dwfl_Module;
struct Dwfl_Line;
struct Elf;
struct Dwarf;

struct Dwfl_Callbacks {
    int (*find_elf)(Dwfl_Module *, void **, const char *, u64, char **, Elf **);
    int (*find_debuginfo)(Dwfl_Module *, void **, const char *, u64, const char *, const char *, u32, char **);
    int (*section_address)(Dwfl_Module *, void **, const char *, u64, const char *, u32, const Elf64_Shdr *, u64 *);
    char **debuginfo_path;
};

struct Plat_DwflCalls {
    Dwfl *(*begin)(const Dwfl_Callbacks *);
    void (*end)(Dwfl *);
    int (*linux_proc_report)(Dwfl *, pid_t);
    int (*report_end)(Dwfl *, int (*)(Dwfl_Module *, void *, const char *, u64, void *), void *);
    int (*linux_proc_find_elf)(Dwfl_Module *, void **, const char *, u64, char **, Elf **);
    Dwfl_Module *(*addrmodule)(Dwfl *, u64);
    const char *(*module_info)(Dwfl_Module *, void ***, u64 *, u64 *, u64 *, u64 *, const char **, const char **);
    const char *(*module_addrinfo)(Dwfl_Module *, u64, u64 *, Elf64_Sym *, u32 *, Elf **, u64 *);
    int (*module_getsymtab)(Dwfl_Module *);
    int (*module_build_id)(Dwfl_Module *, const u8 **, u64 *);
    Dwarf *(*module_getdwarf)(Dwfl_Module *, u64 *);
    Dwfl_Line *(*module_getsrc)(Dwfl_Module *, u64);
    const char *(*lineinfo)(Dwfl_Line *, u64 *, int *, int *, u64 *, u64 *);
};

// The calls, or NULL where libdw is not there or misses one of them. Loads it at the first call that succeeds.
PLAT_API const Plat_DwflCalls *Plat_Dwfl();

#endif
