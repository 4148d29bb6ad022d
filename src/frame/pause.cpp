#include "pause.h"

#include <cerrno>
#include <ctime>

void pause_ms(unsigned milliseconds)
{
    timespec left = {};
    left.tv_sec = static_cast<time_t>(milliseconds / 1000);
    left.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}
