#ifndef SCRATCH_ROOT_H
#define SCRATCH_ROOT_H

// A complete installation of a test's own: registry, installed files, data, accounts and one region, in a fresh
// directory. Whatever the test changes, the machine that it runs on stays as it is.

#include <string>

// Makes a root and points this process at it.
//
// Region   the region whose directory is made; nullptr for a root without any
// Returns  the root's directory, below TMPDIR, else /tmp:
//              registry/   SORREL_REGISTRY
//              accounts/   SORREL_ACCOUNTS: user vela, group velagroup with that member, both with this process's ids
//              run/        SORREL_RUNDIR
//              events.log  SORREL_EVENTLOG, made by the first event
//              install/    InstallPath
//              data/       DataPath
//
// NLSPATH finds the catalogue of the build. LANG, the LC_* and all VELA* variables are removed. The root is removed
// when the process that made it exits; processes that it forked leave it alone. A later call makes another root.
std::string Scratch_MakeRoot(const char *Region = "TESTREG");

// The directory of the last root, empty before the first.
std::string Scratch_Root();

// Stores a value of the registry, its key below the machine's hive; fails the test when that does not succeed.
void Scratch_SetValue(const std::string &Key, const std::string &Name, const std::string &Value);

// Removes a value, or a key with everything in and below it.
void Scratch_DeleteValue(const std::string &Key, const std::string &Name);
void Scratch_DeleteKey(const std::string &Key);

#define SCRATCH_PRODUCT_KEY "SOFTWARE\\QMX\\Corvanta-VELA\\CurrentVersion"
#define SCRATCH_SORREL_KEY "SOFTWARE\\QMX\\Corvanta-Sorrel\\CurrentVersion"

// A file as it is; empty when it cannot be read. Slashes and backslashes both separate.
std::string Scratch_ReadFile(const std::string &Path);

// Writes a file, and the directories above it.
void Scratch_WriteFile(const std::string &Path, const std::string &Text);

// What the event log of the last root holds.
std::string Scratch_EventLog();

#endif
