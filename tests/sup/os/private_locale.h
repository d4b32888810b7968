#ifndef PRIVATE_LOCALE_H
#define PRIVATE_LOCALE_H

// Locales of a test's own, made by localedef in a folder below TMPDIR, else /tmp. The machine's are not touched.

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

// The folder in which one run of a test keeps its locales; removed at exit by the process that made it.
inline std::string &PrivateLocale_Folder()
{
    static std::string *const folder = new std::string;
    return *folder;
}

inline void PrivateLocale_Remove()
{
    std::error_code ignored;
    std::filesystem::remove_all(PrivateLocale_Folder(), ignored);
}

// Makes NAME.CHARMAP from the C library's sources and sets it for all categories. Empty text, or why it cannot be had.
inline std::string PrivateLocale_Use(const std::string &Name, const std::string &Charmap)
{
    if (PrivateLocale_Folder().empty()) {
        const char *const base = getenv("TMPDIR");
        std::string pattern = std::string(base ? base : "/tmp") + "/locales.XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) return "no folder for locales";
        PrivateLocale_Folder() = pattern;
        atexit(PrivateLocale_Remove);
    }
    const std::string locale = Name + "." + Charmap;
    const std::string target = PrivateLocale_Folder() + "/" + locale;
    // --force: localedef warns of SHIFT_JIS, whose 5C is no backslash, and would write nothing.
    const std::string command = "localedef --force -i " + Name + " -f " + Charmap + " '" + target + "' >/dev/null 2>&1";
    if (!std::filesystem::exists(target)) {
        const int status = system(command.c_str());
        if (status == -1 || !WIFEXITED(status) || !std::filesystem::exists(target + "/LC_CTYPE"))
            return "localedef cannot make " + locale;
    }
    setenv("LOCPATH", PrivateLocale_Folder().c_str(), 1);
    if (setlocale(LC_ALL, locale.c_str()) == nullptr) return "the C library does not take " + locale;
    return {};
}

#endif
