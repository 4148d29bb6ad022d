#include "child_output.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr long long patience_ms = 5000;

long long now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

// Returns 0, or a number of errno.
int start(const char* const* words, int output, pid_t& child)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // A group of its own: what a script leaves running is ended with it, and the terminal's interrupt is not for it.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    const int error = posix_spawnp(&child, words[0], &actions, &attributes, const_cast<char* const*>(words), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

// False when the time is over before the end of the output.
bool read_all(int input, char* buffer, size_t size)
{
    const long long end = now_ms() + patience_ms;
    size_t used = 0;
    for (;;) {
        const long long left = end - now_ms();
        pollfd wait = {input, POLLIN, 0};
        const int ready = left > 0 ? poll(&wait, 1, static_cast<int>(left)) : 0;
        if (ready == 0)
            return false;
        if (ready < 0)
            continue;
        char beyond[4096];
        const bool fits = used < size - 1;
        const ssize_t got = read(input, fits ? buffer + used : beyond, fits ? size - 1 - used : sizeof beyond);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return true;
        if (fits)
            used += static_cast<size_t>(got);
        buffer[used] = '\0';
    }
}

} // namespace

const char* child_output(const char* const* words, char* buffer, size_t size)
{
    buffer[0] = '\0';
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return "no pipe could be had";
    pid_t child = 0;
    const int error = start(words, ends[1], child);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        return error == ENOENT ? "there is no such program" : "it could not be run";
    }
    const bool ended = read_all(ends[0], buffer, size);
    close(ends[0]);
    if (!ended)
        kill(-child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    if (!ended)
        return "it did not answer within five seconds";
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? nullptr : "it failed";
}
