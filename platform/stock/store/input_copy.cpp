#include "input_copy.h"

#include <errno.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#include "store_message.h"

namespace {

constexpr off_t limit = off_t{32} << 20; // twice what a store can hold

} // namespace

bool copy_input(int source, const char* name, int scratch)
{
    char piece[4096];
    off_t total = 0;
    for (;;) {
        const ssize_t got = read(source, piece, sizeof piece);
        if (got == 0)
            return true;
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 || write(scratch, piece, static_cast<size_t>(got)) != got) {
            store_message("%s: cannot be read: %s", name, strerror(errno));
            return false;
        }
        total += got;
        if (total > limit) {
            store_message("%s: is more than a store can hold", name);
            return false;
        }
    }
}
