// Security identifiers, access lists and descriptors, byte by byte.

#include "win32_security.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "plat_sys.h"
#include "win32_error.h"

namespace
{

constexpr SID_IDENTIFIER_AUTHORITY world = {{0, 0, 0, 0, 0, 1}}, nt = {{0, 0, 0, 0, 0, 5}};

SID *makeSid(const SID_IDENTIFIER_AUTHORITY &authority, u8 count, u32 sub0 = 0, u32 sub1 = 0)
{
    SID *sid = nullptr;
    EXPECT_NE(AllocateAndInitializeSid(&authority, count, sub0, sub1, 0, 0, 0, 0, 0, 0, &sid), 0);
    return sid;
}

std::string bytesOf(const void *block, size_t size)
{
    return std::string(static_cast<const char *>(block), size);
}

} // namespace

TEST(AllocateAndInitializeSid, WritesThePublishedBytes)
{
    SID *const everybody = makeSid(world, 1, 0);
    EXPECT_EQ(bytesOf(everybody, 12), std::string("\1\1\0\0\0\0\0\1\0\0\0\0", 12));
    EXPECT_EQ(GetLengthSid(everybody), 12u);
    SID *const administrators = makeSid(nt, 2, 32, 544);
    EXPECT_EQ(bytesOf(administrators, 16), std::string("\1\2\0\0\0\0\0\5\x20\0\0\0\x20\2\0\0", 16));
    EXPECT_EQ(GetLengthSid(administrators), 16u);
    SID *const none = makeSid(nt, 0);
    EXPECT_EQ(GetLengthSid(none), 8u);

    SID *all = nullptr;
    ASSERT_NE(AllocateAndInitializeSid(&nt, 8, 1, 2, 3, 4, 5, 6, 7, 8, &all), 0);
    EXPECT_EQ(GetLengthSid(all), 40u);
    u32 subs[8];
    memcpy(subs, reinterpret_cast<u8 *>(all) + 8, sizeof subs);
    for (u32 i = 0; i < 8; ++i) EXPECT_EQ(subs[i], i + 1);
    for (SID *const sid : {everybody, administrators, none, all}) EXPECT_EQ(FreeSid(sid), nullptr);
}

TEST(AllocateAndInitializeSid, Fails)
{
    SID *sid = nullptr;
    EXPECT_EQ(AllocateAndInitializeSid(&nt, 9, 1, 2, 3, 4, 5, 6, 7, 8, &sid), 0);
    EXPECT_EQ(GetLastError(), 1337u);
    Plat_Sys.Malloc = [](size_t) -> void * { return nullptr; };
    EXPECT_EQ(AllocateAndInitializeSid(&nt, 1, 18, 0, 0, 0, 0, 0, 0, 0, &sid), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(sid, nullptr);
}

TEST(EqualSid, ComparesEveryByte)
{
    SID *const one = makeSid(nt, 2, 32, 544), *const same = makeSid(nt, 2, 32, 544),
               *const other = makeSid(nt, 2, 32, 545), *const shorter = makeSid(nt, 1, 32),
               *const foreign = makeSid(world, 2, 32, 544);
    EXPECT_NE(EqualSid(one, same), 0);
    EXPECT_EQ(EqualSid(one, other), 0);
    EXPECT_EQ(EqualSid(one, shorter), 0);
    EXPECT_EQ(EqualSid(shorter, one), 0);
    EXPECT_EQ(EqualSid(one, foreign), 0);
    for (SID *const sid : {one, same, other, shorter, foreign}) FreeSid(sid);
}

TEST(AddAccessAllowedAce, WritesThePublishedBytes)
{
    SID *const everybody = makeSid(world, 1, 0), *const administrators = makeSid(nt, 2, 32, 544);
    u8 room[8 + 20 + 24];
    ACL *const list = reinterpret_cast<ACL *>(room);
    memset(room, '#', sizeof room);
    ASSERT_NE(InitializeAcl(list, sizeof room, 2), 0);
    EXPECT_EQ(bytesOf(room, 8), std::string("\2\0\x34\0\0\0\0\0", 8));

    ASSERT_NE(AddAccessAllowedAce(list, 2, 0x100040, everybody), 0);
    ASSERT_NE(AddAccessAllowedAce(list, 2, GENERIC_ALL, administrators), 0);
    EXPECT_EQ(bytesOf(room, sizeof room), std::string("\2\0\x34\0\2\0\0\0"
                                                      "\0\0\x14\0\x40\0\x10\0"
                                                      "\1\1\0\0\0\0\0\1\0\0\0\0"
                                                      "\0\0\x18\0\0\0\0\x10"
                                                      "\1\2\0\0\0\0\0\5\x20\0\0\0\x20\2\0\0",
                                                      sizeof room));
    FreeSid(everybody);
    FreeSid(administrators);
}

TEST(AddAccessAllowedAce, LeavesAFullListAlone)
{
    SID *const everybody = makeSid(world, 1, 0);
    u8 room[8 + 20 + 19];
    ACL *const list = reinterpret_cast<ACL *>(room);
    memset(room, '#', sizeof room);
    ASSERT_NE(InitializeAcl(list, sizeof room, 2), 0);
    ASSERT_NE(AddAccessAllowedAce(list, 2, 1, everybody), 0);
    const std::string before = bytesOf(room, sizeof room);
    EXPECT_EQ(AddAccessAllowedAce(list, 2, 1, everybody), 0);
    EXPECT_EQ(GetLastError(), 1344u);
    EXPECT_EQ(bytesOf(room, sizeof room), before);

    EXPECT_EQ(AddAccessAllowedAce(list, 4, 1, everybody), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(AddAccessAllowedAce(list, 2, 1, nullptr), 0);
    EXPECT_EQ(GetLastError(), 1337u);
    list->AceCount = 40; // a list that claims more than it has
    EXPECT_EQ(AddAccessAllowedAce(list, 2, 1, everybody), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    FreeSid(everybody);
}

TEST(InitializeAcl, Fails)
{
    u8 room[8];
    ACL *const list = reinterpret_cast<ACL *>(room);
    EXPECT_EQ(InitializeAcl(list, 7, 2), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(InitializeAcl(list, 8, 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(InitializeAcl(list, 0x10000, 2), 0);
    EXPECT_NE(InitializeAcl(list, 8, 2), 0);
}

TEST(SetSecurityDescriptorDacl, TellsPresentFromAbsent)
{
    SECURITY_DESCRIPTOR descriptor;
    memset(&descriptor, '#', sizeof descriptor);
    EXPECT_EQ(InitializeSecurityDescriptor(&descriptor, 2), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    ASSERT_NE(InitializeSecurityDescriptor(&descriptor, 1), 0);
    EXPECT_EQ(descriptor.Revision, 1);
    EXPECT_EQ(descriptor.Control, 0);
    EXPECT_EQ(descriptor.Dacl, nullptr);

    ACL list;
    ASSERT_NE(SetSecurityDescriptorDacl(&descriptor, 1, &list, 0), 0);
    EXPECT_EQ(descriptor.Control, SE_DACL_PRESENT);
    EXPECT_EQ(descriptor.Dacl, &list);
    ASSERT_NE(SetSecurityDescriptorDacl(&descriptor, 1, nullptr, 1), 0);
    EXPECT_EQ(descriptor.Control, SE_DACL_PRESENT | SE_DACL_DEFAULTED);
    EXPECT_EQ(descriptor.Dacl, nullptr);
    ASSERT_NE(SetSecurityDescriptorDacl(&descriptor, 0, &list, 0), 0);
    EXPECT_EQ(descriptor.Control, 0);
    EXPECT_EQ(descriptor.Dacl, nullptr);
    descriptor.Revision = 0;
    EXPECT_EQ(SetSecurityDescriptorDacl(&descriptor, 1, &list, 0), 0);
}
