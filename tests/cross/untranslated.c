// The calls that qemu-user does not translate, carried out by other means in a program that runs under it.
//
// ioctl        The requests for an IPv6 address come to the kernel in the wrong byte order, or cut, or not at all, as
//              the processor may be. The native program /emulation/ipv6_address makes them instead; what this library
//              reads from the request is what the kernel of such a processor would read.
// posix_spawn  Parent and child share no memory under qemu-user, so a program that cannot be started is not reported.
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <dlfcn.h>
#include <errno.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <linux/ipv6.h>

typedef int (*Spawn)(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*, char* const[],
                     char* const[]);

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const argv[], char* const envp[])
{
    Spawn next = (Spawn)dlsym(RTLD_NEXT, "posix_spawn");
    if (access(path, X_OK) != 0)
        return errno;
    return next(pid, path, actions, attributes, argv, envp);
}

static int is_inet6(int fd)
{
    int domain = 0;
    socklen_t size = sizeof domain;
    return getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_INET6;
}

static int change_address(const char* what, const struct in6_ifreq* request)
{
    char address[INET6_ADDRSTRLEN];
    char length[16];
    char index[16];
    char helper[] = "/emulation/ipv6_address";
    int status;

    inet_ntop(AF_INET6, &request->ifr6_addr, address, sizeof address);
    snprintf(length, sizeof length, "%u", request->ifr6_prefixlen);
    snprintf(index, sizeof index, "%d", request->ifr6_ifindex);
    char* argv[] = {helper, (char*)what, address, length, index, NULL};
    char* envp[] = {NULL};
    pid_t pid = fork();
    if (pid == 0) {
        execve(helper, argv, envp);
        _exit(126);
    }
    if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) {
        errno = EIO;
        return -1;
    }
    errno = WEXITSTATUS(status);
    return errno == 0 ? 0 : -1;
}

int ioctl(int fd, unsigned long request, ...)
{
    va_list rest;
    va_start(rest, request);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    if (request == SIOCSIFADDR && is_inet6(fd))
        return change_address("add", argument);
    if (request == SIOCDIFADDR && is_inet6(fd))
        return change_address("del", argument);
    int (*next)(int, unsigned long, ...) =
        (int (*)(int, unsigned long, ...))dlsym(RTLD_NEXT, sizeof(time_t) > sizeof(long) ? "__ioctl_time64" : "ioctl");
    return next(fd, request, argument);
}
