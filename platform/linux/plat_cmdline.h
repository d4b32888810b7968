#ifndef PLAT_CMDLINE_H
#define PLAT_CMDLINE_H

// From a command line to a program and its arguments.

#include "plat_types.h"

// The arguments of a line in one block: Count pointers and a NULL, then their texts. Freed with free.
struct Plat_Arguments {
    u32 Count;
    char **List;
};

// Finds the program of a line and cuts the rest. Program has PLAT_PATH_ROOM bytes and receives the file to run.
// Returns 0 and sets *Arguments, or the error number: 2 no program, 5 a directory or not executable, 8 no memory.
PLAT_API u32 Plat_ParseCommandLine(const char *Line, char *Program, Plat_Arguments *Arguments);

#endif
