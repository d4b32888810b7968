// Look-ups of hosts and services.
//
// The resolver answers in memory of its own, which its next look-up overwrites. One lock covers look-up and copy, so an
// answer is whole; what its pointers reach is still the resolver's, and callers copy what they keep.

#include "supos_services_int.h"

#include "inftr_guard.h"
#include "tks_thread.h"
#include "win32_socket.h"

#include <cerrno>

static constinit tks_Mutex SupOS_NetdbLock = {};

constexpr i32 familyInternet = 2;

static void lockResolver()
{
    tks_MutexInitOnce(&SupOS_NetdbLock);
    tks_MutexLock(&SupOS_NetdbLock);
}

// Copies an answer, or sets errno to the reason why there is none.
static i32 deliver(const struct hostent *Found, struct hostent *Host)
{
    if (Found == nullptr) {
        errno = WSAGetLastError();
        return -1;
    }
    *Host = *Found;
    return 0;
}

i32 SupOS_gethostbyaddr_r(const char *Address, i32 Length, i32 Type, struct hostent *Host, u32 Unused)
{
    INFTR_FUNCTION(SUPOS, "SupOS_gethostbyaddr_r");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %d, %d, %p, %u)", static_cast<const void *>(Address), Length, Type,
                static_cast<void *>(Host), Unused);

    i32 result = -1;
    if (Type != familyInternet) {
        errno = EINVAL;
        INFTR_RETURN_VALUE(1, result);
    }
    lockResolver();
    result = deliver(plat_gethostbyaddr(Address, static_cast<u32>(Length), Type), Host);
    tks_MutexUnlock(&SupOS_NetdbLock);
    INFTR_RETURN_VALUE(2, result);
}

i32 SupOS_gethostbyname_r(const char *Name, struct hostent *Host, u32 Unused)
{
    INFTR_FUNCTION(SUPOS, "SupOS_gethostbyname_r");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %p, %u)", Name, static_cast<void *>(Host), Unused);

    lockResolver();
    const i32 result = deliver(plat_gethostbyname(Name), Host);
    tks_MutexUnlock(&SupOS_NetdbLock);
    INFTR_RETURN_VALUE(1, result);
}

i32 SupOS_getservbyname_r(const char *Name, const char *Protocol, struct servent *Service, u32 Unused)
{
    INFTR_FUNCTION(SUPOS, "SupOS_getservbyname_r");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %.255s, %p, %u)", Name, Protocol, static_cast<void *>(Service), Unused);

    i32 result = -1;
    const int errnoBefore = errno; // required: a failure leaves it alone
    lockResolver();
    const struct servent *const found = plat_getservbyname(Name, Protocol);
    if (found != nullptr) {
        *Service = *found;
        Service->s_port = ntohs(static_cast<u16>(found->s_port));
        result = 0;
    }
    tks_MutexUnlock(&SupOS_NetdbLock);
    errno = errnoBefore;
    INFTR_RETURN_VALUE(1, result);
}
