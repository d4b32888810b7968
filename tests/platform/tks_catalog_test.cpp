// Message catalogues.

#include "tks_catalog.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "plat_faults.h"
#include "scratch_root.h"

namespace fs = std::filesystem;

namespace
{

// Compiles a catalogue: text 1 of set 1 is Mark, set 186 holds message 1023, set 1023 message 7.
void makeCatalog(const std::string &Path, const std::string &Mark)
{
    Scratch_WriteFile(Path + ".msg", "$quote \"\n$set 1\n1 \"" + Mark + "\"\n2 \"\"\n3 \"" + std::string(400, 'x') +
                                         "\"\n$set 186\n1023 \"deep\"\n$set 1023\n7 \"far\"\n");
    fs::create_directories(fs::path(Path).parent_path());
    ASSERT_EQ(system(("gencat '" + Path + "' '" + Path + ".msg'").c_str()), 0);
    fs::remove(Path + ".msg");
}

// A root without catalogues and an environment without locale or search path.
std::string bareRoot()
{
    const std::string root = Scratch_MakeRoot(nullptr);
    unsetenv("NLSPATH");
    return root;
}

std::string markOf(const char *Name, i32 Flag = 1)
{
    char none[] = "none";
    const u32 catalog = tks_catopen(Name, Flag);
    return catalog == TKS_CAT_FAILED ? "failed" : tks_catgets(catalog, 1, 1, none);
}

} // namespace

TEST(tks_catopen, OpensAPath)
{
    const std::string root = bareRoot();
    makeCatalog(root + "/dir/a.cat", "by path");
    EXPECT_EQ(markOf((root + "/dir/a.cat").c_str()), "by path");
    EXPECT_EQ(markOf(("c:" + root + "\\dir\\a.cat").c_str()), "by path");
    ASSERT_EQ(chdir(root.c_str()), 0);
    EXPECT_EQ(markOf("dir/a.cat"), "by path");
    EXPECT_EQ(markOf("./a.cat"), "failed");
}

TEST(tks_catopen, FollowsTheTemplates)
{
    const std::string root = bareRoot();
    setenv("LC_ALL", "de_AT.ISO8859-15@euro", 1);
    makeCatalog(root + "/de_AT.ISO8859-15@euro/L.cat", "L");
    makeCatalog(root + "/de-AT-ISO8859-15/parts.cat", "parts");
    makeCatalog(root + "/100%/p.cat", "percent");
    const auto search = [&](const std::string &Template, const char *Name) {
        setenv("NLSPATH", Template.c_str(), 1);
        return markOf(Name);
    };
    EXPECT_EQ(search(root + "/%L/%N", "L.cat"), "L");
    EXPECT_EQ(search(root + "/%l-%t-%c/%N", "parts.cat"), "parts");
    EXPECT_EQ(search(root + "/100%%/%N", "p.cat"), "percent");
    EXPECT_EQ(search("/nowhere/%N:" + root + "/%L/%N:/other", "L.cat"), "L") << "one after the other";
    EXPECT_EQ(search(root + "/%L/%N.cat", "L"), "L");
    EXPECT_EQ(search(root + "/%N", "L.cat"), "failed");
    EXPECT_EQ(search(root + "/%x%L/%N", "L.cat"), "L") << "an unknown mark is nothing";
    ASSERT_EQ(chdir((root + "/100%").c_str()), 0);
    EXPECT_EQ(search(":/nowhere", "p.cat"), "percent") << "an empty template is the name";
    EXPECT_EQ(search("/nowhere:", "p.cat"), "percent");
    EXPECT_EQ(search(std::string(5000, 'x') + ":" + root + "/%L/%N", "L.cat"), "L") << "one without end is passed over";
}

TEST(tks_catopen, SplitsLocalesWithPartsMissing)
{
    const std::string root = bareRoot();
    setenv("NLSPATH", (root + "/%l.%t.%c/%N").c_str(), 1);
    makeCatalog(root + "/ja../x.cat", "language");
    makeCatalog(root + "/ja..SJIS/x.cat", "codeset");
    makeCatalog(root + "/ja.JP./x.cat", "territory");
    const struct {
        const char *Locale, *Mark;
    } rows[] = {{"ja", "language"},
                {"ja.SJIS", "codeset"},
                {"ja_JP", "territory"},
                {"ja_JP@x", "territory"},
                {"ja@x.y", "language"}};
    for (const auto &row : rows) {
        setenv("LANG", row.Locale, 1);
        EXPECT_EQ(markOf("x.cat"), row.Mark) << row.Locale;
    }
}

TEST(tks_catopen, TakesTheLocaleByTheFlag)
{
    const std::string root = bareRoot();
    setenv("NLSPATH", (root + "/%L/%N").c_str(), 1);
    for (const char *name : {"all", "messages", "lang", "C"}) makeCatalog(root + "/" + name + "/x.cat", name);
    EXPECT_EQ(markOf("x.cat"), "C") << "no variable";
    setenv("LANG", "lang", 1);
    EXPECT_EQ(markOf("x.cat", 1), "lang");
    setenv("LC_MESSAGES", "messages", 1);
    EXPECT_EQ(markOf("x.cat", 1), "messages");
    EXPECT_EQ(markOf("x.cat", 0), "lang");
    setenv("LC_ALL", "all", 1);
    EXPECT_EQ(markOf("x.cat", 1), "all");
    EXPECT_EQ(markOf("x.cat", 0), "lang");
    setenv("LC_ALL", "", 1);
    EXPECT_EQ(markOf("x.cat", 1), "messages") << "an empty variable is none";
    for (const char *name : {"POSIX", "../x", "..", "."}) {
        setenv("LC_ALL", name, 1);
        EXPECT_EQ(markOf("x.cat", 1), "C") << name;
    }
}

TEST(tks_catopen, SearchesTheInstallation)
{
    const std::string root = bareRoot();
    makeCatalog(root + "/install/msg/C/x.cat", "C of the installation");
    EXPECT_EQ(markOf("x.cat"), "C of the installation");
    makeCatalog(root + "/install/msg/de_DE/x.cat", "de of the installation");
    setenv("LANG", "de_DE", 1);
    EXPECT_EQ(markOf("x.cat"), "de of the installation");
    setenv("LANG", "fr_FR", 1);
    EXPECT_EQ(markOf("x.cat"), "C of the installation");
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "InstallPath", "c:" + root + "\\install");
    EXPECT_EQ(markOf("x.cat"), "C of the installation") << "a path of the system's own form";
    makeCatalog(root + "/nls/x.cat", "template");
    setenv("NLSPATH", (root + "/nls/%N").c_str(), 1);
    EXPECT_EQ(markOf("x.cat"), "template") << "templates come first";
}

TEST(tks_catopen, SearchesBesideTheLibrary)
{
    if (access(VELA_TEST_BUILD_DIR "/lib", W_OK) != 0) GTEST_SKIP() << "the build directory is another user's";
    // The registry is missing, so only the directories beside the library are left.
    const std::string root = bareRoot(), name = "beside-" + std::to_string(getpid()) + ".cat";
    setenv("SORREL_REGISTRY", (root + "/nothing").c_str(), 1);
    EXPECT_EQ(markOf(name.c_str()), "failed");
    const std::string inside = std::string(VELA_TEST_BUILD_DIR) + "/lib/msg/C/" + name;
    const std::string above = std::string(VELA_TEST_BUILD_DIR) + "/msg/C/" + name;
    makeCatalog(inside, "in the library's directory");
    EXPECT_EQ(markOf(name.c_str()), "in the library's directory");
    makeCatalog(above, "above it");
    EXPECT_EQ(markOf(name.c_str()), "above it");
    fs::remove(inside);
    fs::remove(above);
}

TEST(tks_catopen, FailsWithoutACatalogue)
{
    const std::string root = bareRoot();
    EXPECT_EQ(tks_catopen("no-such.cat", 1), TKS_CAT_FAILED);
    EXPECT_EQ(tks_catopen("", 1), TKS_CAT_FAILED);
    EXPECT_EQ(tks_catopen(nullptr, 1), TKS_CAT_FAILED);
    EXPECT_EQ(tks_catopen((root + "/none.cat").c_str(), 1), TKS_CAT_FAILED);
    EXPECT_EQ(tks_catopen(root.c_str(), 1), TKS_CAT_FAILED) << "a directory";
    for (const std::string &text : {std::string(), std::string("no catalogue"), std::string(4096, '\xDE')}) {
        Scratch_WriteFile(root + "/broken.cat", text);
        EXPECT_EQ(tks_catopen((root + "/broken.cat").c_str(), 1), TKS_CAT_FAILED);
    }
    makeCatalog(root + "/whole.cat", "text");
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(tks_catopen((root + "/whole.cat").c_str(), 1), TKS_CAT_FAILED);
}

TEST(tks_catopen, GoesOnBehindABrokenFile)
{
    const std::string root = bareRoot();
    Scratch_WriteFile(root + "/first/x.cat", "broken");
    makeCatalog(root + "/second/x.cat", "good");
    setenv("NLSPATH", (root + "/first/%N:" + root + "/second/%N").c_str(), 1);
    EXPECT_EQ(markOf("x.cat"), "good");
}

TEST(tks_catopen, LoadsAPathOnce)
{
    const std::string root = bareRoot();
    makeCatalog(root + "/a.cat", "a");
    makeCatalog(root + "/b.cat", "b");
    const u32 first = tks_catopen((root + "/a.cat").c_str(), 1);
    const u32 other = tks_catopen((root + "/b.cat").c_str(), 1);
    EXPECT_NE(first, 0u);
    EXPECT_NE(first, other);
    EXPECT_EQ(tks_catopen((root + "/./a.cat").c_str(), 1), first);
    fs::remove(root + "/a.cat");
    EXPECT_EQ(tks_catopen((root + "/a.cat").c_str(), 1), first) << "still loaded";
    EXPECT_EQ(markOf((root + "/a.cat").c_str()), "a");
}

TEST(tks_catopen, TakesNoStandardDescriptor)
{
    const std::string root = bareRoot();
    makeCatalog(root + "/a.cat", "a");
    const int before = dup(2);
    close(before);
    EXPECT_EQ(markOf((root + "/a.cat").c_str()), "a");
    EXPECT_EQ(dup(2), before) << "nothing stays open";
}

TEST(tks_catgets, FindsTexts)
{
    const std::string root = bareRoot();
    makeCatalog(root + "/a.cat", "first");
    const u32 catalog = tks_catopen((root + "/a.cat").c_str(), 1);
    char none[] = "none";
    EXPECT_STREQ(tks_catgets(catalog, 1, 1, none), "first");
    EXPECT_STREQ(tks_catgets(catalog, 1, 2, none), "") << "an empty text is a text";
    EXPECT_STREQ(tks_catgets(catalog, 1, 3, none), std::string(400, 'x').c_str());
    EXPECT_STREQ(tks_catgets(catalog, 186, 1023, none), "deep");
    EXPECT_STREQ(tks_catgets(catalog, 1023, 7, none), "far");
}

TEST(tks_catgets, GivesTheDefaultItself)
{
    const std::string root = bareRoot();
    makeCatalog(root + "/a.cat", "first");
    const u32 catalog = tks_catopen((root + "/a.cat").c_str(), 1);
    char none[] = "none";
    EXPECT_EQ(tks_catgets(catalog, 1, 4, none), none);
    EXPECT_EQ(tks_catgets(catalog, 2, 1, none), none);
    EXPECT_EQ(tks_catgets(catalog, 0, 0, none), none);
    EXPECT_EQ(tks_catgets(catalog, 0xFFFFFFFF, 1, none), none);
    EXPECT_EQ(tks_catgets(catalog, 1, 0xFFFFFFFF, none), none);
    EXPECT_EQ(tks_catgets(catalog, 1, 4, nullptr), nullptr);
    for (const u32 bad : {0u, catalog + 1, TKS_CAT_FAILED}) EXPECT_EQ(tks_catgets(bad, 1, 1, none), none);
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(tks_catgets(catalog, 1, 1, none), none);
}

TEST(tks_catgets, GivesMemoryThatMayBeWritten)
{
    const std::string root = bareRoot();
    makeCatalog(root + "/a.cat", "first");
    const u32 catalog = tks_catopen((root + "/a.cat").c_str(), 1);
    char none[] = "none";
    char *text = tks_catgets(catalog, 1, 1, none);
    memset(text, 'w', 128);
    text = tks_catgets(catalog, 1, 3, none);
    memset(text, 'w', 401);
    EXPECT_STREQ(tks_catgets(catalog, 1, 1, none), "first") << "the catalogue is as it was";
    EXPECT_STREQ(tks_catgets(catalog, 1, 3, none), std::string(400, 'x').c_str());
}

TEST(tks_catgets, KeepsTheTextsOfThreadsApart)
{
    const std::string root = bareRoot();
    makeCatalog(root + "/a.cat", "first");
    std::atomic<u32> descriptors[4] = {};
    std::vector<std::thread> threads;
    for (u32 i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            char none[] = "none";
            descriptors[i] = tks_catopen((root + "/a.cat").c_str(), 1);
            for (int round = 0; round < 500; ++round) {
                char *const text = tks_catgets(descriptors[i], 1, 1, none);
                ASSERT_STREQ(text, "first");
                memset(text, static_cast<int>('0' + i), 100);
                ASSERT_EQ(text[99], static_cast<char>('0' + i));
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    for (const auto &descriptor : descriptors) EXPECT_EQ(descriptor, descriptors[0]);
}
