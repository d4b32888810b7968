// The protection of files that CreateFileA makes, as root and as an ordinary user.

#include "win32_file.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "plat_faults.h"
#include "plat_security.h"
#include "plat_sys.h"
#include "scratch_root.h"
#include "unprivileged.h"
#include "win32_error.h"
#include "win32_security.h"

namespace
{

constexpr gid_t foreignGroup = 23456;
constexpr uid_t foreignUser = 23457;

std::string unixSid(u32 kind, u32 id)
{
    char bytes[16] = {1, 2, 0, 0, 0, 0, 0, 22};
    memcpy(bytes + 8, &kind, 4);
    memcpy(bytes + 12, &id, 4);
    return std::string(bytes, sizeof bytes);
}

// Attributes over a list that allows everything to one group, over a null list, or over none.
struct Policy {
    alignas(8) u8 Room[64] = {};
    SECURITY_DESCRIPTOR Descriptor;
    std::string Owner;
    SECURITY_ATTRIBUTES Attributes = {12, &Descriptor, 0};

    explicit Policy(gid_t group)
    {
        ACL *const list = reinterpret_cast<ACL *>(Room);
        const std::string sid = unixSid(Plat_UnixGroup, group);
        InitializeAcl(list, sizeof Room, ACL_REVISION);
        AddAccessAllowedAce(list, ACL_REVISION, GENERIC_ALL, reinterpret_cast<const SID *>(sid.data()));
        InitializeSecurityDescriptor(&Descriptor, SECURITY_DESCRIPTOR_REVISION);
        SetSecurityDescriptorDacl(&Descriptor, 1, list, 0);
    }
    Policy()
    {
        InitializeSecurityDescriptor(&Descriptor, SECURITY_DESCRIPTOR_REVISION);
        SetSecurityDescriptorDacl(&Descriptor, 1, nullptr, 0);
    }
    void SetOwner(uid_t owner)
    {
        Owner = unixSid(Plat_UnixUser, owner);
        Descriptor.Owner = reinterpret_cast<SID *>(Owner.data());
    }
};

handle make(const std::string &path, SECURITY_ATTRIBUTES *security, u32 creation = CREATE_ALWAYS)
{
    return CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, security, creation,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

struct stat statOf(const std::string &path)
{
    struct stat found = {};
    EXPECT_EQ(stat(path.c_str(), &found), 0) << path;
    return found;
}

u32 modeOf(const std::string &path)
{
    return statOf(path).st_mode & 07777;
}

// A directory that every user may write into.
std::string publicDirectory()
{
    const std::string root = Scratch_MakeRoot(nullptr), path = root + "/public";
    mkdir(path.c_str(), 0700);
    chmod(path.c_str(), 0777);
    chmod(root.c_str(), 0755);
    return path;
}

} // namespace

TEST(CreateFileA, ProtectsWhatItMakes)
{
    const std::string directory = publicDirectory();
    umask(077); // has no part in it
    Policy open, group(getegid());
    for (const u32 creation : {CREATE_NEW, CREATE_ALWAYS, OPEN_ALWAYS}) {
        const std::string word = std::to_string(creation), one = directory + "/open" + word,
                          other = directory + "/group" + word, plain = directory + "/plain" + word;
        CloseHandle(make(one, &open.Attributes, creation));
        EXPECT_EQ(modeOf(one), 0666u);
        const handle file = make(other, &group.Attributes, creation);
        ASSERT_NE(file, PLAT_INVALID_HANDLE);
        EXPECT_EQ(modeOf(other), 0660u);
        EXPECT_EQ(statOf(other).st_gid, getegid());
        u32 count = 0;
        EXPECT_EQ(WriteFile(file, "text", 4, &count, nullptr), 1);
        CloseHandle(file);
        CloseHandle(make(plain, nullptr, creation));
        EXPECT_EQ(modeOf(plain), 0600u) << "the default, less the umask";
    }
}

TEST(CreateFileA, TakesTheDefaultWithoutADescriptor)
{
    const std::string path = publicDirectory() + "/file";
    umask(022);
    SECURITY_ATTRIBUTES none = {12, nullptr, 1};
    CloseHandle(make(path, &none));
    EXPECT_EQ(modeOf(path), 0644u);
}

TEST(CreateFileA, LeavesAFileThatIsThereAsItIs)
{
    const std::string path = publicDirectory() + "/file";
    Scratch_WriteFile(path, "before");
    chmod(path.c_str(), 0640);
    const struct stat before = statOf(path);
    Policy open;
    for (const u32 creation : {OPEN_EXISTING, OPEN_ALWAYS, CREATE_ALWAYS, TRUNCATE_EXISTING}) {
        SetLastError(77);
        const handle file = make(path, &open.Attributes, creation);
        ASSERT_NE(file, PLAT_INVALID_HANDLE);
        EXPECT_EQ(GetLastError(), creation == OPEN_ALWAYS || creation == CREATE_ALWAYS ? ERROR_ALREADY_EXISTS : 77u);
        CloseHandle(file);
        EXPECT_EQ(modeOf(path), 0640u);
        EXPECT_EQ(statOf(path).st_ino, before.st_ino);
    }
    EXPECT_EQ(make(path, &open.Attributes, CREATE_NEW), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
    EXPECT_EQ(make(path + "/file", &open.Attributes), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(make(path + "x", &open.Attributes, OPEN_EXISTING), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST(CreateFileA, MakesTheFileBehindALink)
{
    const std::string directory = publicDirectory();
    ASSERT_EQ(symlink((directory + "/target").c_str(), (directory + "/link").c_str()), 0);
    Policy open;
    const handle file = make(directory + "/link", &open.Attributes);
    ASSERT_NE(file, PLAT_INVALID_HANDLE);
    CloseHandle(file);
    EXPECT_EQ(modeOf(directory + "/target"), 0666u);
}

// Root gives a file to any group and any owner.
TEST(CreateFileA, GivesAwayAsRoot)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
    const std::string path = publicDirectory() + "/file";
    Policy group(foreignGroup);
    group.SetOwner(foreignUser);
    CloseHandle(make(path, &group.Attributes));
    EXPECT_EQ(modeOf(path), 0660u);
    EXPECT_EQ(statOf(path).st_gid, foreignGroup);
    EXPECT_EQ(statOf(path).st_uid, foreignUser);
}

// Whoever may not give a group gives no rights to the one that the file has.
TEST(CreateFileA, LeavesOutWhatItMayNotGive)
{
    const std::string path = publicDirectory() + "/file";
    Policy group(foreignGroup);
    group.SetOwner(foreignUser);
    EXPECT_EQ(Unprivileged_Run([&] {
                  umask(0);
                  const handle file = make(path, &group.Attributes);
                  if (file == PLAT_INVALID_HANDLE) return 1;
                  if (modeOf(path) != 0600) return 2;
                  if (statOf(path).st_gid != getegid() || statOf(path).st_uid != geteuid()) return 3;
                  u32 count = 0;
                  if (WriteFile(file, "text", 4, &count, nullptr) != 1) return 4;
                  Policy own(getegid());
                  CloseHandle(make(path + "own", &own.Attributes));
                  if (modeOf(path + "own") != 0660) return 5;
                  Policy open;
                  CloseHandle(make(path + "open", &open.Attributes));
                  return modeOf(path + "open") == 0666 ? 0 : 6;
              }),
              0);
}

// Between the making and the protecting nobody but the owner gets at the file.
TEST(CreateFileA, IsNeverOpenerThanItsPolicy)
{
    const std::string path = publicDirectory() + "/file";
    static std::string watched;
    watched = path;
    umask(0);
    Plat_Sys.Fchown = [](int, uid_t, gid_t) {
        EXPECT_EQ(modeOf(watched), 0600u);
        errno = EPERM;
        return -1;
    };
    Policy group(getegid());
    CloseHandle(make(path, &group.Attributes));
    EXPECT_EQ(modeOf(path), 0600u);

    Plat_Sys.Fchmod = Fault_With<EPERM>{}; // a file system without modes: what can be had is taken
    const handle file = make(path + "2", &group.Attributes);
    EXPECT_NE(file, PLAT_INVALID_HANDLE);
    CloseHandle(file);
    EXPECT_EQ(modeOf(path + "2"), 0600u);
}
