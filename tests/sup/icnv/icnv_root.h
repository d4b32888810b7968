#ifndef ICNV_ROOT_H
#define ICNV_ROOT_H

// An installation with conversion tables, and calls that take and give strings.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "scratch_root.h"
#include "supos_conversion.h"
#include "suppr_names.h"

// The tables of the build; Folder "etc-gb18030" for the catalogue of the tests.
inline void Icnv_UseTables(const std::string &Folder = "etc")
{
    namespace fs = std::filesystem;
    const fs::path installed = fs::path(Scratch_MakeRoot()) / "install" / "etc";
    fs::remove_all(installed);
    fs::create_directories(installed.parent_path());
    fs::create_directory_symlink(fs::path(VELA_TEST_BUILD_DIR) / Folder, installed);
    ASSERT_EQ(SupPR_InitNames("TESTREG"), ERZ_OK);
}

// A folder of the test's own, with this catalogue and no tables. Returns the folder.
inline std::string Icnv_UseCatalogue(const std::string &Lines)
{
    const std::string folder = Scratch_MakeRoot() + "/install/etc";
    Scratch_WriteFile(folder + "/ccsid.tbl", Lines);
    EXPECT_EQ(SupPR_InitNames("TESTREG"), ERZ_OK);
    return folder;
}

struct Icnv_Answer {
    i32 Code;
    std::string Text; // what was written, padding included
    size_t Consumed;
    size_t Moved; // of the target pointer
    u32 Left; // *slenp on return
};

inline Icnv_Answer Icnv_Code(u32 Cd, const std::string &Source, size_t Room = 4096)
{
    std::string target(Room, '\xEE');
    const char *in = Source.data();
    char *out = target.data();
    u32 length = static_cast<u32>(Source.size());
    u32 room = static_cast<u32>(Room);
    Icnv_Answer answer;
    answer.Code = SupOS_IcnvCode(Cd, &in, &length, &out, &room);
    answer.Text = target.substr(0, Room - room);
    answer.Consumed = static_cast<size_t>(in - Source.data());
    answer.Moved = static_cast<size_t>(out - target.data());
    answer.Left = length;
    return answer;
}

inline u32 Icnv_Open(const char *To, const char *From)
{
    const u32 cd = SupOS_IcnvOpen(To, From);
    EXPECT_NE(cd, SUPOS_ICNV_FAILED) << From << " to " << To;
    return cd;
}

// One conversion with a descriptor of its own.
inline Icnv_Answer Icnv_Convert(const char *To, const char *From, const std::string &Source, size_t Room = 64)
{
    const u32 cd = Icnv_Open(To, From);
    const Icnv_Answer answer = Icnv_Code(cd, Source, Room);
    SupOS_IcnvClose(cd);
    return answer;
}

// The same with room for all of it; fails the test when it does not end well.
inline std::string Icnv_Text(const char *To, const char *From, const std::string &Source)
{
    const Icnv_Answer answer = Icnv_Convert(To, From, Source, Source.size() * 4 + 16);
    EXPECT_EQ(answer.Code, ICNV_RC_OK) << From << " to " << To;
    return answer.Text;
}

#endif
