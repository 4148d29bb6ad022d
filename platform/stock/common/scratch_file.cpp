#include "scratch_file.h"

#include <fcntl.h>
#include <sys/mman.h>

int open_scratch_file()
{
    const int fd = memfd_create("ipv6ctl", MFD_CLOEXEC);
    return fd >= 0 ? fd : open_scratch_file_in("/tmp");
}

int open_scratch_file_in(const char* folder)
{
    return open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
}
