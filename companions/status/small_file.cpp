#include "small_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

ssize_t read_small_file(const char* path, char* buffer, size_t size)
{
    buffer[0] = '\0';
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return -1;
    struct stat kind;
    if (fstat(file, &kind) != 0 || !S_ISREG(kind.st_mode)) {
        close(file);
        errno = EINVAL;
        return -1;
    }
    size_t used = 0;
    while (used < size - 1) {
        const ssize_t got = read(file, buffer + used, size - 1 - used);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        used += static_cast<size_t>(got);
    }
    close(file);
    buffer[used] = '\0';
    return static_cast<ssize_t>(used);
}
