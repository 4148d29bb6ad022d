// First process of the private root: runs programs by turns and times each run.
//
// sampler ROUNDS WARMUP RESET OUT [-- PATH ARGV0 [ARG...]]...
// Before each run RESET, a script, is run with the word "before" ("-": none), at the end with "after"; neither is
// timed. OUT gets a line a run behind the WARMUP rounds: which program (from 0), nanoseconds from its start to its end,
// those on a processor with what it has waited for, its status. The standard output of the programs goes to OUT.text.
// BENCH_PRELOAD is the LD_PRELOAD of the programs.
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { max_programs = 8 };

static void die(const char* what)
{
    perror(what);
    exit(97);
}

static long long now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

static long long in_ns(const struct timeval* time)
{
    return time->tv_sec * 1000000000LL + time->tv_usec * 1000LL;
}

static void fetch_orphans(void)
{
    while (wait(NULL) > 0) {
    }
}

static void reset(const char* script, const char* word)
{
    int status;
    if (strcmp(script, "-") == 0)
        return;
    pid_t pid = fork();
    if (pid == 0) {
        execl(script, script, word, (char*)NULL);
        _exit(97);
    }
    if (pid < 0 || waitpid(pid, &status, 0) != pid || status != 0)
        die(script);
}

// Starts one program and waits for it. Returns its wait status.
static int run(char** program, char** environment, int text, long long* taken, long long* on_processor)
{
    int status;
    struct rusage usage;
    const long long start = now();
    pid_t pid = vfork();
    if (pid == 0) {
        dup2(text, 1);
        execve(program[0], program + 1, environment);
        _exit(97);
    }
    if (pid < 0 || wait4(pid, &status, 0, &usage) != pid)
        die(program[0]);
    *taken = now() - start;
    *on_processor = in_ns(&usage.ru_utime) + in_ns(&usage.ru_stime);
    return status;
}

static char** environment_of_programs(void)
{
    extern char** environ;
    const char* preload = getenv("BENCH_PRELOAD");
    static char* with[256];
    int count = 0;
    for (char** entry = environ; *entry != NULL && count < 254; entry++) {
        if (strncmp(*entry, "BENCH_PRELOAD=", 14) != 0)
            with[count++] = *entry;
    }
    if (preload != NULL) {
        static char text[1024];
        snprintf(text, sizeof text, "LD_PRELOAD=%s", preload);
        with[count++] = text;
    }
    return with;
}

int main(int argc, char** argv)
{
    char** programs[max_programs];
    int count = 0;
    char path[4096];

    if (argc < 8)
        return 97;
    int rounds = atoi(argv[1]);
    int warmup = atoi(argv[2]);
    for (int at = 5; at + 1 < argc; at++) {
        if (strcmp(argv[at], "--") == 0 && count < max_programs) {
            argv[at] = NULL;
            programs[count++] = argv + at + 1;
        }
    }
    FILE* out = fopen(argv[4], "we");
    snprintf(path, sizeof path, "%s.text", argv[4]);
    int text = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    int quiet = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (out == NULL || text < 0 || quiet < 0 || dup2(quiet, 2) < 0)
        die(argv[4]);
    char** environment = environment_of_programs();

    for (int round = 0; round < warmup + rounds; round++) {
        if (round == warmup && ftruncate(text, 0) != 0)
            die(path);
        for (int turn = 0; turn < count; turn++) {
            int which = (round + turn) % count;
            long long taken;
            long long on_processor;
            reset(argv[3], "before");
            int status = run(programs[which], environment, text, &taken, &on_processor);
            fetch_orphans();
            if (round >= warmup)
                fprintf(out, "%d %lld %lld %d\n", which, taken, on_processor,
                        WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
        }
    }
    reset(argv[3], "after");
    return fclose(out) == 0 ? 0 : 97;
}
