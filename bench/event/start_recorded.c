// Stands at the program's place in a gateway: starts it under the same command name with the recorder preloaded.
// The run begins here, so that loading the program counts as its own time.
#define _GNU_SOURCE
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

// As in contenders.py: the program under its command names, the library, and the file to append to.
#define PROGRAMS "/usr/lib/recorded"
#define RECORDER PROGRAMS "/run_recorder.so"
#define RECORD "/run/run-record"

int main(int argc, char** argv)
{
    char program[4096];
    char began[64];
    struct timespec now;
    const char* slash = argc > 0 ? strrchr(argv[0], '/') : NULL;

    clock_gettime(CLOCK_REALTIME, &now);
    snprintf(began, sizeof began, "%lld.%09ld", (long long)now.tv_sec, now.tv_nsec);
    if (argc < 1 || setenv("LD_PRELOAD", RECORDER, 1) != 0 || setenv("RUN_RECORD", RECORD, 1) != 0
        || setenv("RUN_BEGAN", began, 1) != 0)
        return 126;
    snprintf(program, sizeof program, "%s/%s", PROGRAMS, slash != NULL ? slash + 1 : argv[0]);
    argv[0] = program;
    execv(program, argv);
    perror(program);
    return 127;
}
