// Files of other programs, read whole.
#pragma once

#include <stddef.h>
#include <sys/types.h>

// Reads up to `size` - 1 bytes of a regular file into `buffer` and ends them with a NUL; a NUL within is kept. Follows
// no symbolic link and waits for nothing. Returns the number of bytes, or -1 with errno set (EINVAL: no regular file).
ssize_t read_small_file(const char* path, char* buffer, size_t size);
