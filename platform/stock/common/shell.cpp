#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/common_library.h"

extern char** environ;

namespace {

constexpr int pipe_look_ms = 50;

// While a line runs: SIGINT and SIGQUIT are the line's business alone, and nobody else may collect its status. An
// ignored SIGCHLD, as a daemon may hand it down, would make the kernel throw the status away: it is put to its default.
class SignalGuard {
public:
    SignalGuard()
    {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigemptyset(&ignore.sa_mask);
        sigaction(SIGINT, &ignore, &old_int_);
        sigaction(SIGQUIT, &ignore, &old_quit_);
        sigset_t child_signal;
        sigemptyset(&child_signal);
        sigaddset(&child_signal, SIGCHLD);
        sigprocmask(SIG_BLOCK, &child_signal, &old_mask_);
        struct sigaction by_default = {};
        by_default.sa_handler = SIG_DFL;
        sigemptyset(&by_default.sa_mask);
        sigaction(SIGCHLD, &by_default, &old_child_);
    }

    ~SignalGuard()
    {
        sigaction(SIGCHLD, &old_child_, nullptr);
        sigaction(SIGINT, &old_int_, nullptr);
        sigaction(SIGQUIT, &old_quit_, nullptr);
        sigprocmask(SIG_SETMASK, &old_mask_, nullptr);
    }

    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;

    // Starts `line`, its standard output on `out` when that is not negative. Returns the process id, or -1.
    pid_t spawn(const char* line, int out) const
    {
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t defaults;
        sigemptyset(&defaults);
        if (old_int_.sa_handler != SIG_IGN)
            sigaddset(&defaults, SIGINT);
        if (old_quit_.sa_handler != SIG_IGN)
            sigaddset(&defaults, SIGQUIT);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setsigmask(&attributes, &old_mask_);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        int failure = out >= 0 ? posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO) : 0;
        char shell_name[] = "sh";
        char option[] = "-c";
        char* const arguments[] = {shell_name, option, const_cast<char*>(line), nullptr};
        pid_t pid = -1;
        if (failure == 0)
            failure = posix_spawn(&pid, "/bin/sh", &actions, &attributes, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        return failure == 0 ? pid : -1;
    }

private:
    struct sigaction old_int_ = {};
    struct sigaction old_quit_ = {};
    struct sigaction old_child_ = {};
    sigset_t old_mask_ = {};
};

// Waits for `pid`. Returns true when it has ended; false when it still runs (`options` WNOHANG) or is unknown.
bool collect(pid_t pid, int options, int& status)
{
    pid_t ended;
    do {
        ended = waitpid(pid, &status, options);
    } while (ended < 0 && errno == EINTR);
    return ended == pid;
}

// The copied part of an output; the rest is counted out and dropped.
struct Output {
    char* text;
    size_t capacity;
    size_t size = 0;

    void take(const char* piece, size_t piece_size)
    {
        const size_t room = capacity - size;
        const size_t taken = piece_size < room ? piece_size : room;
        if (taken == 0)
            return;
        memcpy(text + size, piece, taken);
        size += taken;
    }
};

// Reads one piece. Returns its size, 0 at the end of the output, -1 when there is nothing now (errno EAGAIN) or ever.
ssize_t read_piece(int fd, Output& output)
{
    char piece[4096];
    ssize_t got;
    do {
        got = read(fd, piece, sizeof piece);
    } while (got < 0 && errno == EINTR);
    if (got > 0)
        output.take(piece, static_cast<size_t>(got));
    return got;
}

// Reads until every writer has closed, or until the shell has ended and all that it can have written is read: a
// daemon that the line left in the background keeps the pipe open for as long as it lives, and must not keep the
// caller. Returns true when the shell's status has been collected on the way.
bool read_output(int fd, pid_t pid, Output& output)
{
    int status;
    for (;;) {
        pollfd wait_for = {fd, POLLIN, 0};
        const int ready = poll(&wait_for, 1, pipe_look_ms);
        if (ready > 0 && read_piece(fd, output) <= 0)
            return false;
        if (!collect(pid, WNOHANG, status))
            continue;
        fcntl(fd, F_SETFL, O_NONBLOCK);
        for (ssize_t left = fcntl(fd, F_GETPIPE_SZ); left > 0;) {
            const ssize_t got = read_piece(fd, output);
            if (got <= 0)
                break;
            left -= got;
        }
        return true;
    }
}

} // namespace

int osSystem(const char* line)
{
    if (line == nullptr)
        return -1;
    const SignalGuard signals;
    const pid_t pid = signals.spawn(line, -1);
    int status;
    if (pid < 0 || !collect(pid, 0, status))
        return -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int osSystem_GetOutput(const char* line, char* buf, int size)
{
    int ends[2];
    if (line == nullptr || pipe2(ends, O_CLOEXEC) != 0)
        return -1;
    const SignalGuard signals;
    const pid_t pid = signals.spawn(line, ends[1]);
    close(ends[1]);
    if (pid < 0) {
        close(ends[0]);
        return -1;
    }
    const bool has_room = buf != nullptr && size > 0;
    Output output = {buf, has_room ? static_cast<size_t>(size) - 1 : 0};
    int status;
    if (!read_output(ends[0], pid, output))
        collect(pid, 0, status);
    close(ends[0]);
    if (has_room)
        buf[output.size] = '\0';
    return static_cast<int>(output.size);
}
