// Processes.
//
// A process object holds a descriptor that the system sets when the process ends, so that waiting works for processes
// that are not ours, and no id can be mistaken for a later one. A child is reaped when its end is first seen; a handle that
// is closed before hands the child to one thread that reaps for all, so that nobody has to wait for it.

#include "win32_process.h"

#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/epoll.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#include "plat_cmdline.h"
#include "plat_descriptor.h"
#include "plat_error.h"
#include "plat_passon.h"
#include "plat_path.h"
#include "plat_process.h"
#include "plat_sys.h"
#include "plat_waitable.h"
#include "win32_error.h"
#include "win32_sync.h"

extern char **environ;

struct Process {
    Plat_Object Head;
    pid_t Pid;
    int Descriptor; // -1 for a child that could not get one: then its id is waited for
    bool Started; // by us, through this object: it is the one to reap
    pthread_mutex_t Lock; // guards the two below
    bool Ended;
    u32 ExitCode;
};

static Process *processOf(Plat_Object *object)
{
    return reinterpret_cast<Process *>(object);
}

static u32 codeOfSignal(int signal)
{
    switch (signal) {
    case SIGSEGV:
    case SIGBUS: return 0xC0000005u;
    case SIGFPE: return 0xC0000094u;
    case SIGILL: return 0xC000001Du;
    case SIGTRAP: return 0x80000003u;
    }
    return 128u + static_cast<u32>(signal);
}

static int openProcess(pid_t pid)
{
    return Plat_DescriptorAbove2(Plat_Sys.PidfdOpen(pid, 0));
}

static int waitChild(const Process *process, siginfo_t *info, int options)
{
    return process->Descriptor >= 0
               ? PLAT_RETRY(Plat_Sys.Waitid(P_PIDFD, static_cast<id_t>(process->Descriptor), info, options))
               : PLAT_RETRY(Plat_Sys.Waitid(P_PID, static_cast<id_t>(process->Pid), info, options));
}

// Takes the exit code of a process that has ended, and reaps it where this object started it. One that is no child of
// ours, or that was reaped elsewhere, has the code 0. The lock is held.
static void collect(Process *process)
{
    if (process->Ended) return;
    __atomic_store_n(&process->Ended, true, __ATOMIC_RELEASE);
    siginfo_t info = {};
    const int options = WEXITED | WNOHANG | (process->Started ? 0 : WNOWAIT);
    if (waitChild(process, &info, options) != 0 || info.si_pid == 0) return;
    process->ExitCode =
        info.si_code == CLD_EXITED ? static_cast<u32>(info.si_status) & 0xFF : codeOfSignal(info.si_status);
}

// Waits for the end of a child without a descriptor, which cannot be polled with a limit: it is looked at now and then.
static bool awaitChild(const Process *process, u32 milliseconds)
{
    constexpr u32 look = 5; // milliseconds
    const bool limited = milliseconds != PLAT_INFINITE;
    for (u32 left = milliseconds;; left -= left < look ? left : look) {
        siginfo_t info = {};
        if (waitChild(process, &info, WEXITED | WNOWAIT | (limited ? WNOHANG : 0)) != 0 || info.si_pid != 0)
            return true;
        if (left == 0) return false;
        Sleep(left < look ? left : look);
    }
}

// Waits for the end; true when it has come.
static bool awaitEnd(Process *process, u32 milliseconds)
{
    if (process->Descriptor < 0)
        return __atomic_load_n(&process->Ended, __ATOMIC_ACQUIRE) || awaitChild(process, milliseconds);
    const struct timespec until = Plat_Deadline(milliseconds == PLAT_INFINITE ? 0 : milliseconds);
    i64 left = milliseconds;
    for (;;) {
        struct pollfd entry = {process->Descriptor, POLLIN, 0};
        const int timeout = milliseconds == PLAT_INFINITE || left > 0x7FFFFFFF ? -1 : static_cast<int>(left);
        const int count = Plat_Sys.Poll(&entry, 1, timeout);
        if (count > 0) return true;
        if (count == 0) return false;
        const struct timespec now = Plat_Deadline(0); // interrupted: what is left of the time
        left = milliseconds == PLAT_INFINITE
                   ? 0
                   : (until.tv_sec - now.tv_sec) * 1000 + (until.tv_nsec - now.tv_nsec) / 1000000;
        if (left < 0) left = 0;
    }
}

u32 Plat_ProcessWait(Plat_Object *Object, u32 Milliseconds)
{
    Process *const process = processOf(Object);
    if (!awaitEnd(process, Milliseconds)) return WAIT_TIMEOUT;
    pthread_mutex_lock(&process->Lock);
    collect(process);
    pthread_mutex_unlock(&process->Lock);
    return WAIT_OBJECT_0;
}

// ---- the thread that reaps ----

static constinit pthread_once_t reaperOnce = PTHREAD_ONCE_INIT;
static constinit int reaperQueue = -1; // epoll over the descriptors of children without handle

static void *reap(void *)
{
    for (;;) {
        struct epoll_event event;
        if (epoll_wait(reaperQueue, &event, 1, -1) != 1) continue;
        siginfo_t info = {};
        PLAT_RETRY(Plat_Sys.Waitid(P_PIDFD, static_cast<id_t>(event.data.fd), &info, WEXITED | WNOHANG));
        // Taken out by hand: a child that is being started may hold a copy of the descriptor for a moment.
        epoll_ctl(reaperQueue, EPOLL_CTL_DEL, event.data.fd, nullptr);
        Plat_Sys.Close(event.data.fd);
    }
    return nullptr;
}

static void startReaper()
{
    reaperQueue = Plat_DescriptorAbove2(epoll_create1(EPOLL_CLOEXEC));
    if (reaperQueue < 0) return;
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, 128 * 1024);
    pthread_t thread;
    if (Plat_Sys.PthreadCreate(&thread, &attributes, reap, nullptr) != 0) {
        Plat_Sys.Close(reaperQueue);
        reaperQueue = -1;
    }
    pthread_attr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// Hands a child's descriptor over. Without a reaper it is kept open, and the child stays a zombie after its end.
static void leaveToReaper(int descriptor)
{
    pthread_once(&reaperOnce, startReaper);
    struct epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    if (reaperQueue >= 0) epoll_ctl(reaperQueue, EPOLL_CTL_ADD, descriptor, &event);
}

static void destroyProcess(Plat_Object *object)
{
    Process *const process = processOf(object);
    if (process->Descriptor < 0 && !awaitEnd(process, 0)) process->Descriptor = openProcess(process->Pid);
    if (process->Descriptor < 0) {
        collect(process);
    } else {
        if (!process->Started) {
            Plat_Sys.Close(process->Descriptor);
        } else if (process->Ended || awaitEnd(process, 0)) {
            collect(process);
            Plat_Sys.Close(process->Descriptor);
        } else {
            leaveToReaper(process->Descriptor);
        }
    }
    pthread_mutex_destroy(&process->Lock);
    free(process);
}

static const Plat_ObjectOps processOps = {PLAT_KIND_PROCESS, nullptr, destroyProcess};

// A handle over a process descriptor, which belongs to the handle from now on; NULL with the last error.
static handle createHandle(pid_t pid, int descriptor, bool started)
{
    void *const block = Plat_Sys.Malloc(sizeof(Process));
    if (block == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    Process *const process = new (block) Process{};
    process->Pid = pid;
    process->Descriptor = descriptor;
    process->Started = started;
    pthread_mutex_init(&process->Lock, nullptr);
    const handle created = Plat_HandleCreate(&process->Head, &processOps);
    if (created == nullptr) free(block);
    return created;
}

// ---- starting ----

// The descriptor of a stream of a child, with a reference that keeps it open; an unusable one where there is no handle.
struct ChildStream {
    Plat_Object *Object; // NULL for a descriptor of our own
    int Descriptor;
};

static bool openStream(handle stream, int number, ChildStream *out)
{
    out->Object = Plat_HandleAcquire(stream, PLAT_KIND_STREAM);
    if (out->Object == nullptr) {
        // Open in the wrong direction: reads and writes fail, and the number is not free for another file.
        out->Descriptor = Plat_OpenFile("/dev/null", number == 0 ? O_WRONLY : O_RDONLY, 0);
        return out->Descriptor >= 0;
    }
    out->Descriptor = reinterpret_cast<Plat_Stream *>(out->Object)->Descriptor;
    // A standard stream that is to become another one would be overwritten on the way: work with a copy.
    if (out->Descriptor <= 2 && out->Descriptor != number) {
        const int copy = Plat_Sys.FcntlInt(out->Descriptor, F_DUPFD_CLOEXEC, 3);
        Plat_HandleRelease(out->Object);
        *out = {nullptr, copy};
    }
    return out->Descriptor >= 0;
}

static void closeStream(const ChildStream &stream)
{
    if (stream.Object != nullptr)
        Plat_HandleRelease(stream.Object);
    else if (stream.Descriptor >= 0)
        Plat_Sys.Close(stream.Descriptor);
}

// Closes everything but the streams and what is passed on: a descriptor of the host that is not closed on exec would keep
// a pipe open for as long as the child lives.
static int addClosing(posix_spawn_file_actions_t *actions)
{
    int passed[PLAT_PASSON_ROOM];
    const int count = Plat_PassedOn(passed);
    int from = 3;
    for (int i = 0; i < count; ++i) {
        for (; from < passed[i]; ++from) {
            const int result = posix_spawn_file_actions_addclose(actions, from);
            if (result != 0) return result;
        }
        from = passed[i] + 1;
    }
    return posix_spawn_file_actions_addclosefrom_np(actions, from);
}

// A child starts with no signal blocked, and a write to a pipe without reader ends it, whatever the host has made of either
// for itself: a program that is started expects no less. Signals that are ignored otherwise stay so, as with nohup.
static void setAttributes(posix_spawnattr_t *attributes, u32 flags)
{
    sigset_t none, pipeSignal;
    sigemptyset(&none);
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    posix_spawnattr_setsigmask(attributes, &none);
    posix_spawnattr_setsigdefault(attributes, &pipeSignal);
    const int session = flags & DETACHED_PROCESS ? POSIX_SPAWN_SETSID : 0;
    posix_spawnattr_setflags(attributes, static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | session));
}

static int spawn(const char *program, char **arguments, u32 flags, const ChildStream *streams, pid_t *pid)
{
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    setAttributes(&attributes, flags);
    int result = 0;
    for (int number = 0; number < 3 && streams != nullptr && result == 0; ++number)
        result = posix_spawn_file_actions_adddup2(&actions, streams[number].Descriptor, number);
    if (result == 0) result = addClosing(&actions);
    if (result == 0) result = Plat_Sys.PosixSpawn(pid, program, &actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return result;
}

// Starts the program with its streams; 0, or the error number.
static u32 start(const char *program, char **arguments, u32 flags, const STARTUPINFOA *startup, pid_t *pid)
{
    if ((startup->dwFlags & STARTF_USESTDHANDLES) == 0) {
        const int result = spawn(program, arguments, flags, nullptr, pid);
        return result == 0 ? ERROR_SUCCESS : result == ENOEXEC ? ERROR_BAD_EXE_FORMAT : Plat_ErrorFromErrno(result);
    }
    const handle handles[3] = {startup->hStdInput, startup->hStdOutput, startup->hStdError};
    ChildStream streams[3] = {{nullptr, -1}, {nullptr, -1}, {nullptr, -1}};
    int result = 0;
    for (int number = 0; number < 3 && result == 0; ++number)
        if (!openStream(handles[number], number, &streams[number])) result = errno;
    if (result == 0) result = spawn(program, arguments, flags, streams, pid);
    for (const ChildStream &stream : streams) closeStream(stream);
    return result == 0 ? ERROR_SUCCESS : result == ENOEXEC ? ERROR_BAD_EXE_FORMAT : Plat_ErrorFromErrno(result);
}

// The thread handle of a new process: callers only close it.
static handle createThreadHandle()
{
    const handle event = CreateEventA(nullptr, 1, 0, nullptr);
    return event;
}

i32 CreateProcessA(const char *Application, const char *CommandLine, void *, void *, i32, u32 Flags, void *Environment,
                   const char *Directory, const STARTUPINFOA *Startup, PROCESS_INFORMATION *Information)
{
    if (Application != nullptr || CommandLine == nullptr || Environment != nullptr || Directory != nullptr ||
        Startup == nullptr || Information == nullptr || (Flags & ~DETACHED_PROCESS) != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    char program[PLAT_PATH_ROOM];
    Plat_Arguments arguments = {};
    u32 error = Plat_ParseCommandLine(CommandLine, program, &arguments);
    pid_t pid = -1;
    if (error == ERROR_SUCCESS) error = start(program, arguments.List, Flags, Startup, &pid);
    free(arguments.List);
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return 0;
    }

    const int descriptor = openProcess(pid);
    *Information = {createHandle(pid, descriptor, true), createThreadHandle(), static_cast<u32>(pid),
                    static_cast<u32>(pid)};
    if (Information->hProcess == nullptr && descriptor >= 0) leaveToReaper(descriptor);
    return 1; // the child runs, so this is no failure
}

void GetStartupInfoA(STARTUPINFOA *Startup)
{
    *Startup = {};
    Startup->cb = 0x44;
}

i32 GetExitCodeProcess(handle Process, u32 *Code)
{
    Plat_Object *const object = Plat_HandleAcquire(Process, PLAT_KIND_PROCESS);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    const bool ended = Plat_ProcessWait(object, 0) == WAIT_OBJECT_0;
    *Code = ended ? processOf(object)->ExitCode : STILL_ACTIVE;
    Plat_HandleRelease(object);
    return 1;
}

handle OpenProcess(u32, i32, u32 ProcessId)
{
    const int descriptor = openProcess(static_cast<pid_t>(ProcessId));
    if (descriptor < 0) {
        SetLastError(errno == ESRCH || errno == EINVAL ? ERROR_INVALID_PARAMETER : Plat_ErrorFromErrno(errno));
        return nullptr;
    }
    const handle created = createHandle(static_cast<pid_t>(ProcessId), descriptor, false);
    if (created == nullptr) Plat_Sys.Close(descriptor);
    return created;
}

handle GetCurrentProcess(void)
{
    return PLAT_INVALID_HANDLE;
}

u32 GetCurrentProcessId(void)
{
    return static_cast<u32>(getpid());
}
