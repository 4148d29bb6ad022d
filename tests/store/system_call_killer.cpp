#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "store_driver.h"

namespace {

// Waits for the next stop at a system call. Returns false when the program ended, with its wait status.
bool next_stop(pid_t pid, int& status)
{
    int signal = 0;
    for (;;) {
        if (ptrace(PTRACE_SYSCALL, pid, nullptr, signal) != 0 || waitpid(pid, &status, 0) != pid)
            return false;
        if (!WIFSTOPPED(status))
            return false;
        if (WSTOPSIG(status) == (SIGTRAP | 0x80))
            return true;
        signal = WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
    }
}

} // namespace

int kill_at_stop(long stop, const std::vector<std::string>& command)
{
    std::vector<char*> words;
    for (const std::string& word : command)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        execv(words[0], words.data());
        _exit(126);
    }
    int status;
    if (waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)
        || ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) != 0) {
        std::printf("%s cannot be traced\n", words[0]);
        return 1;
    }
    long stops = 0;
    while (next_stop(pid, status)) {
        if (++stops != stop)
            continue;
        // A call at whose beginning the process is killed is not made any more.
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        std::printf("killed\n");
        return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL ? 0 : 1;
    }
    std::printf("ended %d %ld\n", WIFEXITED(status) ? WEXITSTATUS(status) : -1, stops);
    return 0;
}
