// Lets the program under test look at its gateway LATER seconds after it really does.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdlib.h>
#include <time.h>

static long later(void)
{
    const char* const seconds = getenv("LATER");
    return seconds != NULL ? strtol(seconds, NULL, 10) : 0;
}

int clock_gettime(clockid_t clock, struct timespec* now)
{
    int (*const real)(clockid_t, struct timespec*) =
        (int (*)(clockid_t, struct timespec*))dlsym(RTLD_NEXT, "clock_gettime");
    const int result = real(clock, now);
    if (result == 0 && clock == CLOCK_BOOTTIME)
        now->tv_sec += later();
    return result;
}

time_t time(time_t* to)
{
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    now.tv_sec += later();
    if (to != NULL)
        *to = now.tv_sec;
    return now.tv_sec;
}
