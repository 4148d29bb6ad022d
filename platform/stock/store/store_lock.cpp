#include "store_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr off_t writer_byte = 0x40000000; // behind any contents and within the reach of a 32-bit offset
constexpr off_t first_mark = writer_byte + 1;
constexpr off_t marks = 0x01000000;
constexpr long look_interval_ns = 200'000;
constexpr int looks = 50'000;

struct flock lock_request(short type, off_t start, off_t size)
{
    struct flock request = {};
    request.l_type = type;
    request.l_whence = SEEK_SET;
    request.l_start = start;
    request.l_len = size;
    return request;
}

off_t mark_of(size_t number)
{
    return first_mark + static_cast<off_t>(number % static_cast<size_t>(marks));
}

bool request_lock(int fd, int command, struct flock request)
{
    int result;
    do {
        result = fcntl(fd, command, &request);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// Returns 1 when somebody else has a mark in the range, 0 when not, -1 with errno set.
int has_mark(int fd, off_t start, off_t size)
{
    if (size == 0)
        return 0;
    struct flock request = lock_request(F_WRLCK, start, size);
    if (fcntl(fd, F_OFD_GETLK, &request) != 0)
        return -1;
    return request.l_type == F_UNLCK ? 0 : 1;
}

} // namespace

bool lock_writer(int fd)
{
    return request_lock(fd, F_OFD_SETLKW, lock_request(F_WRLCK, writer_byte, 1));
}

bool await_old_readers(int fd, size_t newest)
{
    const off_t kept = mark_of(newest);
    for (int look = 0; look < looks; ++look) {
        const int before = has_mark(fd, first_mark, kept - first_mark);
        const int behind = has_mark(fd, kept + 1, first_mark + marks - kept - 1);
        if (before < 0 || behind < 0)
            return false;
        if (before == 0 && behind == 0)
            return true;
        const timespec pause = {0, look_interval_ns};
        nanosleep(&pause, nullptr);
    }
    errno = ETIMEDOUT;
    return false;
}

bool mark_state(int fd, size_t number)
{
    return request_lock(fd, F_OFD_SETLK, lock_request(F_RDLCK, mark_of(number), 1));
}

bool unmark_state(int fd, size_t number)
{
    return request_lock(fd, F_OFD_SETLK, lock_request(F_UNLCK, mark_of(number), 1));
}
