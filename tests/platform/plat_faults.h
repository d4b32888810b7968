#ifndef PLAT_FAULTS_H
#define PLAT_FAULTS_H

// Failing system calls. Each test is a process of its own, so nothing puts the table back.
//
//     Plat_Sys.Fsync = Fault_With<EIO>{};

#include <cerrno>
#include <type_traits>

#include <unistd.h>

#include "plat_sys.h"

// Converts to any pointer of the table: a function that fails with that errno, by -1 or by a null pointer.
template <int Errno>
struct Fault_With {
    template <class Result, class... Arguments>
    static Result call(Arguments...)
    {
        errno = Errno;
        if constexpr (std::is_pointer_v<Result>)
            return nullptr;
        else
            return static_cast<Result>(-1);
    }

    template <class Result, class... Arguments>
    using Function = Result (*)(Arguments...);

    template <class Result, class... Arguments>
    operator Function<Result, Arguments...>() const
    {
        return call<Result, Arguments...>;
    }
};

// Becomes an ordinary user where the test runs as root, for the tests of rights; call it in a child only.
inline void Fault_DropRoot()
{
    if (geteuid() != 0) return;
    if (setgid(65534) != 0 || setuid(65534) != 0) _exit(120);
}

#endif
