// Notes when a run of the program begins, pauses, has a shell line run, and ends. start_recorded preloads it.
//
// Lines of the record, "PID SECONDS.NANOSECONDS KIND REST" with the wall clock's time, as in captures:
//   start NAME REASON    the run begins: its command, and the DHCPv6 client's reason if that is who calls
//   sleep MILLISECONDS   the program pauses; "woke" when it goes on
//   line TEXT            a shell line is started; "done" when its status has been collected
//   end                  the run is over
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static int record = -1;
static pid_t shell = -1;

// `moment` is NULL for now.
static void note(const char* moment, const char* kind, const char* rest, const char* more)
{
    char text[2048];
    char clock[64];

    if (record < 0)
        return;
    if (moment == NULL) {
        struct timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        snprintf(clock, sizeof clock, "%lld.%09ld", (long long)now.tv_sec, now.tv_nsec);
        moment = clock;
    }
    int wanted = snprintf(text, sizeof text, "%d %s %s %s %s", (int)getpid(), moment, kind, rest, more);
    if (wanted < 0)
        return;
    size_t length = (size_t)wanted < sizeof text ? (size_t)wanted : sizeof text - 1;
    for (size_t i = 0; i < length; i++) {
        if (text[i] == '\n')
            text[i] = ' ';
    }
    text[length] = '\n';
    // One write for a line, so that lines of runs that overlap do not mix.
    if (write(record, text, length + 1) < 0)
        record = -1;
}

__attribute__((constructor)) static void begin(void)
{
    const char* path = getenv("RUN_RECORD");
    const char* reason = getenv("reason");

    if (path == NULL)
        return;
    record = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    const char* slash = strrchr(program_invocation_name, '/');
    const char* name = slash != NULL ? slash + 1 : program_invocation_name;
    note(getenv("RUN_BEGAN"), "start", name, reason != NULL ? reason : "");
    // What the run starts is not recorded, and its environment is the one of a run without a record.
    unsetenv("RUN_RECORD");
    unsetenv("RUN_BEGAN");
    unsetenv("LD_PRELOAD");
}

__attribute__((destructor)) static void finish(void)
{
    note(NULL, "end", "", "");
}

int nanosleep(const struct timespec* wanted, struct timespec* left)
{
    static int (*next)(const struct timespec*, struct timespec*);
    if (next == NULL)
        *(void**)&next = dlsym(RTLD_NEXT, "nanosleep");
    char amount[32];
    snprintf(amount, sizeof amount, "%lld", (long long)wanted->tv_sec * 1000 + wanted->tv_nsec / 1000000);
    note(NULL, "sleep", amount, "");
    int result = next(wanted, left);
    int error = errno;
    note(NULL, "woke", "", "");
    errno = error;
    return result;
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const argv[], char* const envp[])
{
    static int (*next)(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*, char* const[],
                       char* const[]);
    if (next == NULL)
        *(void**)&next = dlsym(RTLD_NEXT, "posix_spawn");
    note(NULL, "line", argv[0] != NULL && argv[1] != NULL && argv[2] != NULL ? argv[2] : path, "");
    int failure = next(pid, path, actions, attributes, argv, envp);
    if (failure == 0)
        shell = *pid;
    else
        note(NULL, "done", "", "");
    return failure;
}

pid_t waitpid(pid_t pid, int* status, int options)
{
    static pid_t (*next)(pid_t, int*, int);
    if (next == NULL)
        *(void**)&next = dlsym(RTLD_NEXT, "waitpid");
    pid_t ended = next(pid, status, options);
    int error = errno;
    if (ended > 0 && ended == shell) {
        shell = -1;
        note(NULL, "done", "", "");
    }
    errno = error;
    return ended;
}
