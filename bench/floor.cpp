// The least that a run can cost: its shell lines through the same osSystem, and as many lines in the log.
//
// floor PLAN
// PLAN holds NUL-ended records: a letter, a number of times, a blank and a text. S: a line run by osSystem, O: one
// whose output is taken, L: a line of the log, with what every one takes: the uptime, an open, a write and a close.
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "platform/common_library.h"

namespace {

bool append_to_log(const char* text, size_t length)
{
    struct sysinfo uptime;
    sysinfo(&uptime);
    const int log = open("/tmp/ipv6.log", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    const bool written = log >= 0 && write(log, text, length) == static_cast<ssize_t>(length);
    return log >= 0 && close(log) == 0 && written;
}

bool carry_out(char kind, const char* text, size_t length)
{
    char output[1024];
    switch (kind) {
    case 'S':
        osSystem(text);
        return true;
    case 'O':
        return osSystem_GetOutput(text, output, sizeof output) >= 0;
    case 'L':
        return append_to_log(text, length);
    default:
        return false;
    }
}

} // namespace

int main(int argc, char** argv)
{
    struct stat plan = {};
    const int file = argc == 2 ? open(argv[1], O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0 || fstat(file, &plan) != 0)
        return 2;
    const size_t size = static_cast<size_t>(plan.st_size);
    void* const mapped = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    if (mapped == MAP_FAILED)
        return 2;
    const char* at = static_cast<const char*>(mapped);
    for (const char* const end = at + size; at < end;) {
        char* text = nullptr;
        long times = strtol(at + 1, &text, 10);
        const char kind = *at;
        const size_t length = strlen(++text);
        for (; times > 0; --times) {
            if (!carry_out(kind, text, length))
                return 2;
        }
        at = text + length + 1;
    }
    return 1;
}
