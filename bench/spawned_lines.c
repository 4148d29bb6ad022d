// Notes every shell line that the program starts in /gw/lines, NUL-ended: "S" or "O" in front tells whether the line's
// output is taken.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <string.h>
#include <unistd.h>

static char kind = 'S';

int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int from, int to)
{
    int (*next)(posix_spawn_file_actions_t*, int, int) =
        (int (*)(posix_spawn_file_actions_t*, int, int))dlsym(RTLD_NEXT, "posix_spawn_file_actions_adddup2");
    kind = 'O';
    return next(actions, from, to);
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const argv[], char* const envp[])
{
    int (*next)(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*, char* const*,
                char* const*) =
        (int (*)(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*, char* const*,
                 char* const*))dlsym(RTLD_NEXT, "posix_spawn");
    int fd = open("/gw/lines", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    size_t size = strlen(argv[2]) + 1;
    int noted = fd >= 0 && write(fd, &kind, 1) == 1 && write(fd, argv[2], size) == (ssize_t)size;
    if (fd >= 0)
        close(fd);
    kind = 'S';
    return noted ? next(pid, path, actions, attributes, argv, envp) : EIO;
}
