#include "platform/device_clock.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/sysinfo.h>

// More pauses than any routine makes that ends.
constexpr std::size_t pause_limit = 1000;

DeviceClock& device_clock()
{
    static DeviceClock clock;
    return clock;
}

extern "C" {

time_t __wrap_time(time_t* out)
{
    const time_t now = static_cast<time_t>(device_clock().now);
    if (out != nullptr)
        *out = now;
    return now;
}

int __wrap_sysinfo(struct sysinfo* info)
{
    *info = {};
    info->uptime = device_clock().uptime;
    return 0;
}

int __wrap_nanosleep(const timespec* wanted, timespec* left)
{
    DeviceClock& clock = device_clock();
    if (clock.pauses.size() == pause_limit) {
        std::fputs("A routine waits for ever.\n", stderr);
        std::abort();
    }
    long milliseconds = static_cast<long>(wanted->tv_sec) * 1000 + wanted->tv_nsec / 1000000;
    if (clock.interruptions == 0) {
        clock.pauses.push_back(milliseconds);
        return 0;
    }
    --clock.interruptions;
    milliseconds /= 2;
    clock.pauses.push_back(milliseconds);
    left->tv_sec = static_cast<time_t>(milliseconds / 1000);
    left->tv_nsec = milliseconds % 1000 * 1000000;
    errno = EINTR;
    return -1;
}
}
