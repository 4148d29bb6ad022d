// First process of the private root: starts the program under any argv[0] and tells how everything ended.
//
// launcher REPORT [-p PID]... -- PATH ARGV0 [ARG...]
// Each -p makes a sleeping process with that process id, for lines such as "kill 4242". The report has the lines
// "exit N" or "signal N" for the program and "killed PID SIGNAL" for each sleeper that something ended.
#define _GNU_SOURCE
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { max_sleepers = 16 };

static void die(const char* what)
{
    perror(what);
    exit(97);
}

// The next process of this namespace gets the id after the one in ns_last_pid.
static pid_t start_sleeper(int wanted)
{
    FILE* last = fopen("/.proc/sys/kernel/ns_last_pid", "w");
    if (last == NULL || fprintf(last, "%d", wanted - 1) < 0 || fclose(last) != 0)
        die("launcher: ns_last_pid");
    pid_t pid = fork();
    if (pid == 0) {
        close(0);
        close(1);
        close(2);
        for (;;)
            pause();
    }
    if (pid != wanted)
        die("launcher: process id not free");
    return pid;
}

int main(int argc, char** argv)
{
    pid_t sleepers[max_sleepers];
    int ends[max_sleepers] = {0};
    int count = 0;
    int at = 2;

    for (; at + 1 < argc && strcmp(argv[at], "-p") == 0 && count < max_sleepers; at += 2)
        sleepers[count++] = start_sleeper(atoi(argv[at + 1]));
    if (at + 2 >= argc || strcmp(argv[at], "--") != 0) {
        fprintf(stderr, "launcher: bad arguments\n");
        return 97;
    }
    if (count > 0) {                    // back to small numbers, so that a sleeper's id is met by nobody else
        FILE* last = fopen("/.proc/sys/kernel/ns_last_pid", "w");
        if (last == NULL || fprintf(last, "100") < 0 || fclose(last) != 0)
            die("launcher: ns_last_pid");
    }

    signal(SIGINT, SIG_DFL);
    signal(SIGPIPE, SIG_DFL);
    pid_t program = fork();
    if (program == 0) {
        execv(argv[at + 1], argv + at + 2);
        perror(argv[at + 1]);
        _exit(127);
    }

    int status = 0;
    int running = 1;                    // the program and whatever it left behind, sleepers aside
    time_t limit = 0;
    while (running) {
        int end;
        pid_t pid = waitpid(-1, &end, limit != 0 ? WNOHANG : 0);
        if (pid == program) {
            status = end;
            limit = time(NULL) + 5;     // daemons that the test scripted must come to an end of their own
        }
        for (int i = 0; i < count; i++) {
            if (pid == sleepers[i])
                ends[i] = WTERMSIG(end);
        }
        if (pid < 0) {
            running = 0;
        } else if (pid == 0) {
            int left = 0;
            for (int i = 0; i < count; i++)
                left += ends[i] == 0;
            FILE* children = fopen("/.proc/self/task/1/children", "r");
            int alive = 0;
            int child;
            while (children != NULL && fscanf(children, "%d", &child) == 1)
                alive++;
            if (children != NULL)
                fclose(children);
            if (alive <= left || time(NULL) > limit)
                running = 0;
            else
                usleep(500);
        }
    }

    // A fatal signal that is still on its way has already fixed how a sleeper ends; this one changes nothing then.
    for (int i = 0; i < count; i++) {
        int end;
        if (ends[i] != 0)
            continue;
        kill(sleepers[i], SIGUSR2);
        if (waitpid(sleepers[i], &end, 0) == sleepers[i] && WTERMSIG(end) != SIGUSR2)
            ends[i] = WTERMSIG(end);
    }

    FILE* report = fopen(argv[1], "w");
    if (report == NULL)
        die("launcher: report");
    if (WIFEXITED(status))
        fprintf(report, "exit %d\n", WEXITSTATUS(status));
    else
        fprintf(report, "signal %d\n", WTERMSIG(status));
    for (int i = 0; i < count; i++) {
        if (ends[i] != 0)
            fprintf(report, "killed %d %d\n", sleepers[i], ends[i]);
    }
    return fclose(report) == 0 ? 0 : 97;
}
