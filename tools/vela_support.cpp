// Files, colours and text for the commands.

#include "vela_commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <unistd.h>

CLI::App *Vela_AddGroup(CLI::App &Program, const std::string &Name, const std::string &Description)
{
    CLI::App *const group = Program.add_subcommand(Name, Description);
    group->require_subcommand(1);
    return group;
}

std::string Vela_ReadFile(const std::string &Path)
{
    if (Path == "-") return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};

    std::error_code ignored;
    if (std::filesystem::is_directory(Path, ignored)) throw Vela_Failure(Path + ": is a directory");
    errno = 0;
    std::ifstream in(Path, std::ios::binary);
    std::string contents{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in.is_open() || in.bad()) throw Vela_Failure(Path + ": " + std::strerror(errno ? errno : EIO));
    return contents;
}

void Vela_WriteFile(const std::string &Path, const std::string &Contents)
{
    if (Path == "-") {
        std::cout.write(Contents.data(), static_cast<std::streamsize>(Contents.size()));
        return;
    }

    const std::string temporary = Path + ".new" + std::to_string(getpid());
    errno = 0;
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(Contents.data(), static_cast<std::streamsize>(Contents.size()));
    out.close();
    if (!out || std::rename(temporary.c_str(), Path.c_str()) != 0) {
        const int reason = errno ? errno : EIO;
        std::remove(temporary.c_str());
        throw Vela_Failure(Path + ": " + std::strerror(reason));
    }
}

bool Vela_Colours()
{
    const char *const refused = std::getenv("NO_COLOR");
    return (refused == nullptr || refused[0] == 0) && isatty(STDOUT_FILENO) != 0;
}

std::string Vela_Paint(const std::string &Sequence, const std::string &Text)
{
    static const bool wanted = Vela_Colours();
    return wanted ? "\033[" + Sequence + "m" + Text + "\033[0m" : Text;
}

std::string Vela_Printable(const std::string &Text)
{
    std::string out;
    for (const char character : Text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7F) {
            out += character;
            continue;
        }
        char form[8];
        std::snprintf(form, sizeof form, "\\x%02X", byte);
        out += form;
    }
    return out;
}

std::string Vela_ShareDirectory()
{
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::path program = fs::read_symlink("/proc/self/exe", ignored);
    const fs::path prefix = program.parent_path().parent_path();
    const fs::path installed = prefix / "share" / "velaco";
    return fs::is_directory(installed, ignored) ? installed.string() : prefix.string();
}
