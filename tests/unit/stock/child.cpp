#include "child.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "scratch_file.h"

namespace {

std::string contents_of(int fd)
{
    std::string text;
    char piece[4096];
    lseek(fd, 0, SEEK_SET);
    for (ssize_t got; (got = read(fd, piece, sizeof piece)) > 0;)
        text.append(piece, static_cast<size_t>(got));
    return text;
}

void fill(int fd, const std::string& text)
{
    for (size_t done = 0; done < text.size();) {
        const ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written <= 0)
            abort();
        done += static_cast<size_t>(written);
    }
    lseek(fd, 0, SEEK_SET);
}

} // namespace

int wait_child(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

pid_t start_child(const std::function<int()>& body)
{
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    return pid;
}

int run_child(const std::function<int()>& body)
{
    return wait_child(start_child(body));
}

Outcome run_program(const std::vector<std::string>& arguments, const std::string& input)
{
    const int in = open_scratch_file();
    const int out = open_scratch_file();
    const int err = open_scratch_file();
    fill(in, input);
    const int status = run_child([&] {
        dup2(in, STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        std::vector<char*> vector;
        for (const std::string& argument : arguments)
            vector.push_back(const_cast<char*>(argument.c_str()));
        vector.push_back(nullptr);
        execv(vector[0], vector.data());
        return 126;
    });
    Outcome outcome = {status, contents_of(out), contents_of(err)};
    close(in);
    close(out);
    close(err);
    return outcome;
}

std::string errors_of(const std::function<void()>& body)
{
    const int kept = dup(STDERR_FILENO);
    const int err = open_scratch_file();
    dup2(err, STDERR_FILENO);
    body();
    dup2(kept, STDERR_FILENO);
    std::string text = contents_of(err);
    close(err);
    close(kept);
    return text;
}
