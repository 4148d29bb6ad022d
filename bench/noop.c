// Stands in for every outside program: does nothing, and prints what a file prepared for its name holds.
//
// /gw/answers/NAME is that file. Where it is a folder, the file of the last argument in it is printed. Status 0.
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    char path[512];
    char text[65536];
    const char* slash = strrchr(argv[0], '/');

    snprintf(path, sizeof path, "/gw/answers/%s", slash != NULL ? slash + 1 : argv[0]);
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    ssize_t got = read(fd, text, sizeof text);
    if (got < 0 && errno == EISDIR && argc > 1) {
        close(fd);
        size_t used = strlen(path);
        snprintf(path + used, sizeof path - used, "/%s", argv[argc - 1]);
        fd = open(path, O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return 0;
        got = read(fd, text, sizeof text);
    }
    while (got > 0) {
        if (write(1, text, (size_t)got) != got)
            return 1;
        got = read(fd, text, sizeof text);
    }
    close(fd);
    return 0;
}
