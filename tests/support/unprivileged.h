#ifndef UNPRIVILEGED_H
#define UNPRIVILEGED_H

// Tests of rights: root passes every one of them, so they run in a child process of another user.

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

// The result, 0 to 255, of a call in a child process that is not root; -1 when the child died of a signal.
// Output of the child stays in this process's streams; its failed expectations are not seen, so it returns a verdict.
template <class Call>
int Unprivileged_Run(Call &&call)
{
    constexpr unsigned nobody = 65534;

    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(250);
        const int result = call();
        fflush(nullptr);
        _exit(result);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

#endif
