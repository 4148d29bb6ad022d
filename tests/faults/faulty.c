// Starts a program under a fault: something taken away from it, somebody beside it, or a death on the way.
//
// faulty [OPTION]... -- PATH ARGV0 [ARG...]
//   -k US          kills the program US microseconds after its start, if it still runs then
//   -K US          kills every process of the namespace then, as a power cut ends them all at once
//   -t             notes in /gw/took how many microseconds the program ran
//   -c FD          starts it without this descriptor
//   -b FD          starts it with this descriptor on a pipe whose reader is gone
//   -n COUNT       at most so many descriptors; the first three are counted
//   -m BYTES       at most so much address space
//   -i SIGNAL      ignores the signal
//   -B             blocks every signal
//   -2 US          a second program, its PATH, ARGV0 and ARGs behind a further "--", starts US microseconds after the
//                  first; the statuses go to /gw/pair, a line each, a signal as its negative number
#define _GNU_SOURCE
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static long kill_one = -1;
static long kill_all = -1;
static long second_after = -1;
static int timed;

static void die(const char* what)
{
    perror(what);
    exit(97);
}

static long microseconds_since(const struct timespec* start)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (now.tv_sec - start->tv_sec) * 1000000 + (now.tv_nsec - start->tv_nsec) / 1000;
}

static struct timespec span(long microseconds)
{
    return (struct timespec){microseconds / 1000000, microseconds % 1000000 * 1000};
}

// A process beside the program, which is its parent: it ends when the program does.
static void watch(const struct timespec* start)
{
    pid_t program = getppid();
    int handle = (int)syscall(SYS_pidfd_open, program, 0);
    long moment = kill_one >= 0 ? kill_one : kill_all;
    struct pollfd end = {handle, POLLIN, 0};
    long left = moment - microseconds_since(start);
    struct timespec limit = span(left > 0 ? left : 0);
    if (handle < 0)
        die("faulty: pidfd_open");
    if (ppoll(&end, 1, moment >= 0 ? &limit : NULL, NULL) == 0) {
        kill(kill_one >= 0 ? program : -1, SIGKILL);
        return;
    }
    long took = microseconds_since(start);
    FILE* note = fopen("/gw/took", "w");
    if (note == NULL || fprintf(note, "%ld\n", took) < 0 || fclose(note) != 0)
        die("faulty: /gw/took");
}

static void limit_to(int resource, const char* text)
{
    struct rlimit limit;
    limit.rlim_cur = limit.rlim_max = (rlim_t)atol(text);
    if (setrlimit(resource, &limit) != 0)
        die("faulty: setrlimit");
}

static void break_pipe(int fd)
{
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[1], fd) != fd)
        die("faulty: pipe");
    close(ends[0]);
    if (ends[1] != fd)
        close(ends[1]);
}

static pid_t start(char** words)
{
    pid_t pid = fork();
    if (pid == 0) {
        execv(words[0], words + 1);
        perror(words[0]);
        _exit(127);
    }
    return pid;
}

static int outcome(pid_t pid)
{
    int status;
    if (waitpid(pid, &status, 0) != pid)
        die("faulty: waitpid");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

static int run_two(char** words)
{
    char** other = words;
    struct timespec pause = span(second_after);
    while (*other != NULL && strcmp(*other, "--") != 0)
        other++;
    if (*other == NULL)
        die("faulty: no second program");
    *other++ = NULL;
    pid_t first = start(words);
    nanosleep(&pause, NULL);
    pid_t second = start(other);
    int ended = outcome(first);
    FILE* note = fopen("/gw/pair", "w");
    if (note == NULL || fprintf(note, "%d\n%d\n", ended, outcome(second)) < 0 || fclose(note) != 0)
        die("faulty: /gw/pair");
    return 1;
}

int main(int argc, char** argv)
{
    const char* broken = NULL;
    const char* descriptors = NULL;
    const char* memory = NULL;
    int closed[3];
    int closings = 0;
    sigset_t every;
    int option;

    while ((option = getopt(argc, argv, "+k:K:tc:b:n:m:i:B2:")) != -1) {
        switch (option) {
        case 'k': kill_one = atol(optarg); break;
        case 'K': kill_all = atol(optarg); break;
        case 't': timed = 1; break;
        case 'c': closed[closings++ % 3] = atoi(optarg); break;
        case 'b': broken = optarg; break;
        case 'n': descriptors = optarg; break;
        case 'm': memory = optarg; break;
        case 'i': signal(atoi(optarg), SIG_IGN); break;
        case 'B':
            sigfillset(&every);
            sigprocmask(SIG_BLOCK, &every, NULL);
            break;
        case '2': second_after = atol(optarg); break;
        default: return 97;
        }
    }
    if (optind + 1 >= argc) {
        fprintf(stderr, "faulty: bad arguments\n");
        return 97;
    }
    if (second_after >= 0)
        return run_two(argv + optind);
    if (kill_one >= 0 || kill_all >= 0 || timed) {
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (fork() == 0) {
            watch(&now);
            _exit(0);
        }
    }
    if (broken != NULL)
        break_pipe(atoi(broken));
    if (descriptors != NULL)
        limit_to(RLIMIT_NOFILE, descriptors);
    if (memory != NULL)
        limit_to(RLIMIT_AS, memory);
    for (int i = 0; i < closings && i < 3; i++)
        close(closed[i]);
    execv(argv[optind], argv + optind + 1);
    _exit(127);
}
