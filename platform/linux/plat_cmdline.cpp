// Command lines: one text that the system cuts into a program and arguments.
//
// An unquoted program may hold blanks, so each prefix up to a blank is tried, shortest first; the rest of the line is cut
// by the rules of quotes and backslashes.

#include "plat_cmdline.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plat_path.h"
#include "plat_sys.h"
#include "win32_error.h"

static bool isBlank(char character)
{
    return character == ' ' || character == '\t';
}

// 0 for a file that can be run; else the error number.
static u32 tryFile(const char *path)
{
    struct stat found;
    if (Plat_Sys.Stat(path, &found) != 0) return ERROR_FILE_NOT_FOUND;
    if (S_ISDIR(found.st_mode)) return ERROR_FILE_NOT_FOUND;
    return Plat_Sys.Faccessat(AT_FDCWD, path, X_OK, AT_EACCESS) == 0 ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

static bool endsWithExe(const char *path, size_t length)
{
    return length > 4 && strcasecmp(path + length - 4, ".exe") == 0;
}

// A path as it stands; then with ".exe" where its last part has no point, or without where it has that ending.
static u32 tryForms(char *path)
{
    u32 error = tryFile(path);
    if (error != ERROR_FILE_NOT_FOUND) return error;
    const size_t length = strlen(path);
    const char *const slash = strrchr(path, '/');
    if (strchr(slash == nullptr ? path : slash, '.') == nullptr && length + 5 <= PLAT_PATH_ROOM) {
        memcpy(path + length, ".exe", 5);
        error = tryFile(path);
    } else if (endsWithExe(path, length)) {
        path[length - 4] = '\0';
        error = tryFile(path);
    }
    return error;
}

static u32 tryIn(const char *directory, size_t directoryLength, const char *name, char *program)
{
    const int length = snprintf(program, PLAT_PATH_ROOM, "%.*s/%s", static_cast<int>(directoryLength), directory, name);
    if (length < 0 || static_cast<size_t>(length) >= PLAT_PATH_ROOM) return ERROR_FILE_NOT_FOUND;
    return tryForms(program);
}

static u32 tryOwnDirectory(const char *name, char *program)
{
    char own[PLAT_PATH_ROOM];
    const ssize_t length = readlink("/proc/self/exe", own, sizeof own - 1);
    if (length <= 0) return ERROR_FILE_NOT_FOUND;
    own[length] = '\0';
    char *const slash = strrchr(own, '/');
    return slash == nullptr ? ERROR_FILE_NOT_FOUND : tryIn(own, static_cast<size_t>(slash - own), name, program);
}

static u32 tryPath(const char *name, char *program)
{
    const char *at = getenv("PATH");
    if (at == nullptr) at = "/usr/local/bin:/usr/bin:/bin";
    u32 result = ERROR_FILE_NOT_FOUND;
    while (*at != '\0') {
        const size_t length = strcspn(at, ":");
        const u32 error = length == 0 ? tryIn(".", 1, name, program) : tryIn(at, length, name, program);
        if (error == ERROR_SUCCESS) return error;
        if (error == ERROR_ACCESS_DENIED) result = error;
        at += length;
        if (*at == ':') ++at;
    }
    return result;
}

// The whole search for one name of NameLength bytes.
static u32 findProgram(const char *nameStart, size_t nameLength, char *program)
{
    char plain[PLAT_PATH_ROOM], name[PLAT_PATH_ROOM];
    if (nameLength == 0 || nameLength >= sizeof plain) return ERROR_FILE_NOT_FOUND;
    memcpy(plain, nameStart, nameLength);
    plain[nameLength] = '\0';
    if (Plat_MapSeparators(plain, name, sizeof name - 5) == nullptr) return ERROR_FILE_NOT_FOUND;

    if (strchr(name, '/') != nullptr) {
        snprintf(program, PLAT_PATH_ROOM, "%s", name);
        return tryForms(program);
    }
    u32 error = tryOwnDirectory(name, program);
    if (error == ERROR_FILE_NOT_FOUND) error = tryIn(".", 1, name, program);
    return error == ERROR_FILE_NOT_FOUND ? tryPath(name, program) : error;
}

// Cuts one argument off the line at *At, and writes it to *Out when that is not NULL; returns its length.
static size_t cutArgument(const char **At, char *Out)
{
    const char *at = *At;
    size_t length = 0;
    const auto put = [&](char character) {
        if (Out != nullptr) Out[length] = character;
        ++length;
    };
    bool quoted = false;
    while (*at != '\0' && (quoted || !isBlank(*at))) {
        size_t backslashes = 0;
        while (at[backslashes] == '\\') ++backslashes;
        at += backslashes;
        if (*at != '"') { // plain, however many
            for (size_t i = 0; i < backslashes; ++i) put('\\');
            if (backslashes == 0) put(*at++);
            continue;
        }
        for (size_t i = 0; i < backslashes / 2; ++i) put('\\');
        if (backslashes % 2 != 0) {
            put('"');
            ++at;
        } else if (quoted && at[1] == '"') {
            put('"');
            at += 2;
        } else {
            quoted = !quoted;
            ++at;
        }
    }
    if (Out != nullptr) Out[length] = '\0';
    *At = at;
    return length;
}

static const char *skipBlanks(const char *at)
{
    while (isBlank(*at)) ++at;
    return at;
}

// The program at the start of a line: *Name its text as argument 0, *Rest what stands behind it.
static u32 splitProgram(const char *line, const char **name, size_t *nameLength, const char **rest, char *program)
{
    if (*line == '"') {
        *name = line + 1;
        *nameLength = strcspn(line + 1, "\"");
        *rest = line + 1 + *nameLength;
        if (**rest == '"') ++*rest;
        return findProgram(*name, *nameLength, program);
    }
    *name = line;
    u32 result = ERROR_FILE_NOT_FOUND;
    for (const char *end = line;;) {
        while (*end != '\0' && !isBlank(*end)) ++end;
        *nameLength = static_cast<size_t>(end - line);
        *rest = end;
        const u32 error = findProgram(line, *nameLength, program);
        if (error == ERROR_SUCCESS) return error;
        if (error == ERROR_ACCESS_DENIED) result = error;
        end = skipBlanks(end);
        if (*end == '\0') return result;
    }
}

u32 Plat_ParseCommandLine(const char *Line, char *Program, Plat_Arguments *Arguments)
{
    const char *name, *rest;
    size_t nameLength;
    const u32 error = splitProgram(skipBlanks(Line), &name, &nameLength, &rest, Program);
    if (error != ERROR_SUCCESS) return error;

    u32 count = 1;
    size_t bytes = nameLength + 1;
    for (const char *at = skipBlanks(rest); *at != '\0'; at = skipBlanks(at), ++count)
        bytes += cutArgument(&at, nullptr) + 1;

    char **const list = static_cast<char **>(Plat_Sys.Malloc((count + 1) * sizeof(char *) + bytes));
    if (list == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    char *out = reinterpret_cast<char *>(list + count + 1);
    memcpy(out, name, nameLength);
    out[nameLength] = '\0';
    list[0] = out;
    out += nameLength + 1;
    u32 index = 1;
    for (const char *at = skipBlanks(rest); *at != '\0'; at = skipBlanks(at)) {
        list[index++] = out;
        out += cutArgument(&at, out) + 1;
    }
    list[count] = nullptr;
    *Arguments = {count, list};
    return ERROR_SUCCESS;
}
