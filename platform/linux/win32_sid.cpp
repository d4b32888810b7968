// Security identifiers, access lists and descriptors: plain bytes in published layouts.

#include "win32_security.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "plat_sys.h"
#include "win32_error.h"

static_assert(sizeof(SID) == 12 && offsetof(SID, SubAuthority) == 8);
static_assert(sizeof(ACL) == 8 && offsetof(ACL, AceCount) == 4);
static_assert(sizeof(ACCESS_ALLOWED_ACE) == 12 && offsetof(ACCESS_ALLOWED_ACE, SidStart) == 8);

constexpr u32 sidHeader = offsetof(SID, SubAuthority);
constexpr u32 aceHeader = offsetof(ACCESS_ALLOWED_ACE, SidStart);

static i32 fail(u32 Error)
{
    SetLastError(Error);
    return 0;
}

i32 AllocateAndInitializeSid(const SID_IDENTIFIER_AUTHORITY *Authority, u8 Count, u32 Sub0, u32 Sub1, u32 Sub2,
                             u32 Sub3, u32 Sub4, u32 Sub5, u32 Sub6, u32 Sub7, SID **Out)
{
    if (Count > SID_MAX_SUB_AUTHORITIES) return fail(ERROR_INVALID_SID);

    // never smaller than the structure, so that its fields may be named
    const u32 size = sidHeader + 4u * Count;
    SID *const sid = static_cast<SID *>(Plat_Sys.Malloc(size < sizeof(SID) ? sizeof(SID) : size));
    if (sid == nullptr) return fail(ERROR_NOT_ENOUGH_MEMORY);

    const u32 subs[SID_MAX_SUB_AUTHORITIES] = {Sub0, Sub1, Sub2, Sub3, Sub4, Sub5, Sub6, Sub7};
    sid->Revision = 1;
    sid->SubAuthorityCount = Count;
    sid->IdentifierAuthority = *Authority;
    memcpy(reinterpret_cast<u8 *>(sid) + sidHeader, subs, 4u * Count);
    *Out = sid;
    return 1;
}

void *FreeSid(SID *Sid)
{
    free(Sid);
    return nullptr;
}

u32 GetLengthSid(const SID *Sid)
{
    return sidHeader + 4u * Sid->SubAuthorityCount;
}

i32 EqualSid(const SID *First, const SID *Second)
{
    const u32 length = GetLengthSid(First);
    return length == GetLengthSid(Second) && memcmp(First, Second, length) == 0;
}

i32 InitializeAcl(ACL *List, u32 Size, u32 Revision)
{
    if (Size < sizeof(ACL)) return fail(ERROR_INSUFFICIENT_BUFFER);
    if (Revision != ACL_REVISION || Size > 0xFFFF) return fail(ERROR_INVALID_PARAMETER);
    *List = {static_cast<u8>(Revision), 0, static_cast<u16>(Size), 0, 0};
    return 1;
}

// Where the next entry of a list begins, as an offset; 0 for a list that is broken.
static u32 endOfEntries(const ACL *List)
{
    const u8 *const bytes = reinterpret_cast<const u8 *>(List);
    u32 end = sizeof(ACL);
    for (u32 i = 0; i < List->AceCount; ++i) {
        if (end + aceHeader > List->AclSize) return 0;
        u16 size;
        memcpy(&size, bytes + end + offsetof(ACCESS_ALLOWED_ACE, AceSize), sizeof size);
        end += size;
    }
    return end <= List->AclSize ? end : 0;
}

i32 AddAccessAllowedAce(ACL *List, u32 Revision, u32 Mask, const SID *Sid)
{
    if (Revision != ACL_REVISION || List->AclRevision != ACL_REVISION) return fail(ERROR_INVALID_PARAMETER);
    if (Sid == nullptr || Sid->Revision != 1 || Sid->SubAuthorityCount > 15) return fail(ERROR_INVALID_SID);

    const u32 end = endOfEntries(List);
    const u32 length = GetLengthSid(Sid);
    if (end == 0) return fail(ERROR_INVALID_PARAMETER);
    if (end + aceHeader + length > List->AclSize) return fail(ERROR_ALLOTTED_SPACE_EXCEEDED);

    const ACCESS_ALLOWED_ACE entry = {ACCESS_ALLOWED_ACE_TYPE, 0, static_cast<u16>(aceHeader + length), Mask, 0};
    u8 *const place = reinterpret_cast<u8 *>(List) + end;
    memcpy(place, &entry, aceHeader);
    memcpy(place + aceHeader, Sid, length);
    ++List->AceCount;
    return 1;
}

i32 InitializeSecurityDescriptor(SECURITY_DESCRIPTOR *Descriptor, u32 Revision)
{
    if (Revision != SECURITY_DESCRIPTOR_REVISION) return fail(ERROR_INVALID_PARAMETER);
    *Descriptor = {};
    Descriptor->Revision = static_cast<u8>(Revision);
    return 1;
}

i32 SetSecurityDescriptorDacl(SECURITY_DESCRIPTOR *Descriptor, i32 Present, ACL *List, i32 Defaulted)
{
    if (Descriptor->Revision != SECURITY_DESCRIPTOR_REVISION) return fail(ERROR_INVALID_PARAMETER);
    u32 control = Descriptor->Control & ~(SE_DACL_PRESENT | SE_DACL_DEFAULTED);
    if (Present) control |= SE_DACL_PRESENT | (Defaulted ? SE_DACL_DEFAULTED : 0u);
    Descriptor->Control = static_cast<u16>(control);
    Descriptor->Dacl = Present ? List : nullptr;
    return 1;
}
