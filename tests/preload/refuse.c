// Makes calls of the C library fail in the program under test, as a machine that has run out of something does.
//
// GW_REFUSE lists what is refused: "CALL:FIRST:COUNT", separated by blanks; the FIRST-th call (from 1) and COUNT - 1
// further ones fail. CALL is posix_spawn (EAGAIN), malloc (ENOMEM), mmap (ENOMEM), pipe2, socket or open (EMFILE).
// In every other program it does nothing.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

struct refusal {
    const char* call;
    long first;
    long count;
    long seen;
};

static struct refusal refusals[] = {
    {"posix_spawn", 0, 0, 0}, {"malloc", 0, 0, 0}, {"mmap", 0, 0, 0},
    {"pipe2", 0, 0, 0},       {"socket", 0, 0, 0}, {"open", 0, 0, 0},
};

__attribute__((constructor)) static void begin(void)
{
    static char text[512];
    char exe[4096];
    ssize_t len = readlink("/proc/self/exe", exe, sizeof exe - 1);
    exe[len > 0 ? len : 0] = '\0';
    const char* wanted = getenv("GW_REFUSE");
    if (wanted == NULL || strstr(exe, "/ipv6ctl") == NULL)
        return;
    snprintf(text, sizeof text, "%s", wanted);
    char* rest = NULL;
    for (char* word = strtok_r(text, " ", &rest); word != NULL; word = strtok_r(NULL, " ", &rest)) {
        for (size_t i = 0; i < sizeof refusals / sizeof *refusals; i++) {
            size_t length = strlen(refusals[i].call);
            if (strncmp(word, refusals[i].call, length) == 0 && word[length] == ':')
                sscanf(word + length, ":%ld:%ld", &refusals[i].first, &refusals[i].count);
        }
    }
}

static int is_refused(const char* call)
{
    for (size_t i = 0; i < sizeof refusals / sizeof *refusals; i++) {
        struct refusal* r = &refusals[i];
        if (r->count > 0 && strcmp(r->call, call) == 0) {
            r->seen++;
            return r->seen >= r->first && r->seen < r->first + r->count;
        }
    }
    return 0;
}

#define NEXT(name, type) ((type)dlsym(RTLD_NEXT, name))

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* argv, char* const* env)
{
    typedef int (*call)(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*, char* const*,
                        char* const*);
    if (is_refused("posix_spawn"))
        return EAGAIN;
    return NEXT("posix_spawn", call)(pid, path, actions, attributes, argv, env);
}

extern void* __libc_malloc(size_t size);

void* malloc(size_t size)
{
    if (!is_refused("malloc"))
        return __libc_malloc(size);
    errno = ENOMEM;
    return NULL;
}

#define MAPPER(name)                                                                                                   \
    void* name(void* address, size_t length, int protection, int flags, int fd, off_t offset)                          \
    {                                                                                                                  \
        typedef void* (*call)(void*, size_t, int, int, int, off_t);                                                    \
        if (!is_refused("mmap"))                                                                                       \
            return NEXT(#name, call)(address, length, protection, flags, fd, offset);                                  \
        errno = ENOMEM;                                                                                                \
        return MAP_FAILED;                                                                                             \
    }

MAPPER(mmap)
MAPPER(mmap64)

int pipe2(int ends[2], int flags)
{
    typedef int (*call)(int*, int);
    if (!is_refused("pipe2"))
        return NEXT("pipe2", call)(ends, flags);
    errno = EMFILE;
    return -1;
}

int socket(int domain, int type, int protocol)
{
    typedef int (*call)(int, int, int);
    if (!is_refused("socket"))
        return NEXT("socket", call)(domain, type, protocol);
    errno = EMFILE;
    return -1;
}

#define OPENER(name)                                                                                                   \
    int name(const char* path, int flags, ...)                                                                         \
    {                                                                                                                  \
        typedef int (*call)(const char*, int, ...);                                                                    \
        va_list values;                                                                                                \
        va_start(values, flags);                                                                                       \
        mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(values, mode_t) : 0;                               \
        va_end(values);                                                                                                \
        if (!is_refused("open"))                                                                                       \
            return NEXT(#name, call)(path, flags, mode);                                                               \
        errno = EMFILE;                                                                                                \
        return -1;                                                                                                     \
    }

OPENER(open)
OPENER(open64)
