// Makes the program's pauses instant and its clocks constant, so that a transcript is the same on every run.
//
// Acts in the program under test only; in the shell it waits for what a line left in the background, which gives the
// calls of daemons a fixed place in the journal; in every other program it does nothing.
//   GW_UPTIME       seconds that sysinfo reports
//   GW_TIME         seconds since 1970 that the wall clock reports
//   GW_PAUSE_LIMIT  after so many pauses the program is ended with status 99
// Each pause is noted in /gw/journal as "P" and its microseconds, both NUL-ended. A file /gw/pauses/<number> (from 1)
// holds a path, a line end and a text: that text is put into that path during that pause.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

// A 32-bit C library has calls with 64-bit times under names of their own; the compiler leads the calls below to them,
// but not dlsym. The kernel's clock call is another one as well.
#if defined(_TIME_BITS) && _TIME_BITS == 64 && __SIZEOF_LONG__ == 4
#define NEXT_NANOSLEEP "__nanosleep64"
#define NEXT_CLOCK_NANOSLEEP "__clock_nanosleep_time64"
#define CLOCK_GETTIME SYS_clock_gettime64
#else
#define NEXT_NANOSLEEP "nanosleep"
#define NEXT_CLOCK_NANOSLEEP "clock_nanosleep"
#define CLOCK_GETTIME SYS_clock_gettime
#endif

static enum { bystander, program, shell } part;
static long uptime = -1;
static long long wall_clock = -1;
static int pause_limit = 1000;
static int pauses;

static long long number_of(const char* name, long long otherwise)
{
    const char* text = getenv(name);
    return text != NULL ? atoll(text) : otherwise;
}

__attribute__((constructor)) static void begin(void)
{
    char exe[4096];
    ssize_t len = readlink("/proc/self/exe", exe, sizeof exe - 1);
    exe[len > 0 ? len : 0] = '\0';
    const char* name = strrchr(exe, '/');
    name = name != NULL ? name + 1 : exe;
    if (strcmp(name, "ipv6ctl") == 0)
        part = program;
    else if (strcmp(name, "dash") == 0 || strcmp(name, "sh") == 0)
        part = shell;
    uptime = (long)number_of("GW_UPTIME", -1);
    wall_clock = number_of("GW_TIME", -1);
    pause_limit = (int)number_of("GW_PAUSE_LIMIT", 1000);
}

// Puts a prepared text into a file.
static void play_prepared_change(int number)
{
    char path[64];
    char target[4096];
    char buf[4096];
    size_t got;

    snprintf(path, sizeof path, "/gw/pauses/%d", number);
    FILE* change = fopen(path, "re");
    if (change == NULL)
        return;
    if (fgets(target, sizeof target, change) != NULL) {
        target[strcspn(target, "\n")] = '\0';
        FILE* out = fopen(target, "we");
        while (out != NULL && (got = fread(buf, 1, sizeof buf, change)) > 0)
            fwrite(buf, 1, got, out);
        if (out != NULL)
            fclose(out);
    }
    fclose(change);
}

static void note_pause(long long microseconds)
{
    char note[64];
    int saved = errno;
    int len = snprintf(note, sizeof note, "P%c%lld", 0, microseconds) + 1;
    int fd = open("/gw/journal", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    // A program that a test leaves no descriptors pauses unseen.
    if (fd >= 0 ? write(fd, note, (size_t)len) != len : errno != EMFILE)
        _exit(98);
    if (fd >= 0)
        close(fd);
    pauses++;
    play_prepared_change(pauses);
    if (pauses >= pause_limit)
        _exit(99);
    errno = saved;
}

static long long in_microseconds(const struct timespec* amount)
{
    return (long long)amount->tv_sec * 1000000 + amount->tv_nsec / 1000;
}

unsigned int sleep(unsigned int seconds)
{
    if (part != program) {
        unsigned int (*next)(unsigned int) = (unsigned int (*)(unsigned int))dlsym(RTLD_NEXT, "sleep");
        return next(seconds);
    }
    note_pause((long long)seconds * 1000000);
    return 0;
}

int usleep(useconds_t microseconds)
{
    if (part != program) {
        int (*next)(useconds_t) = (int (*)(useconds_t))dlsym(RTLD_NEXT, "usleep");
        return next(microseconds);
    }
    note_pause(microseconds);
    return 0;
}

int nanosleep(const struct timespec* amount, struct timespec* left)
{
    if (part != program) {
        int (*next)(const struct timespec*, struct timespec*) =
            (int (*)(const struct timespec*, struct timespec*))dlsym(RTLD_NEXT, NEXT_NANOSLEEP);
        return next(amount, left);
    }
    note_pause(in_microseconds(amount));
    return 0;
}

int clock_nanosleep(clockid_t clock, int flags, const struct timespec* amount, struct timespec* left)
{
    if (part != program) {
        int (*next)(clockid_t, int, const struct timespec*, struct timespec*) =
            (int (*)(clockid_t, int, const struct timespec*, struct timespec*))dlsym(RTLD_NEXT, NEXT_CLOCK_NANOSLEEP);
        return next(clock, flags, amount, left);
    }
    long long microseconds = in_microseconds(amount);
    if ((flags & TIMER_ABSTIME) != 0) {
        struct timespec now;
        clock_gettime(clock, &now);
        microseconds -= in_microseconds(&now);
    }
    note_pause(microseconds);
    return 0;
}

int sysinfo(struct sysinfo* info)
{
    int result = (int)syscall(SYS_sysinfo, info);
    if (part == program && uptime >= 0)
        info->uptime = uptime;
    return result;
}

time_t time(time_t* out)
{
    struct timespec now;
    if (part == program && wall_clock >= 0)
        now.tv_sec = wall_clock;
    else
        syscall(CLOCK_GETTIME, CLOCK_REALTIME, &now);
    if (out != NULL)
        *out = now.tv_sec;
    return now.tv_sec;
}

int clock_gettime(clockid_t clock, struct timespec* now)
{
    int result = (int)syscall(CLOCK_GETTIME, clock, now);
    if (part == program && wall_clock >= 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        now->tv_sec = wall_clock;
        now->tv_nsec = 0;
    }
    return result;
}

int gettimeofday(struct timeval* now, void* zone)
{
    struct timespec precise;
    (void)zone;
    clock_gettime(CLOCK_REALTIME, &precise);
    now->tv_sec = precise.tv_sec;
    now->tv_usec = precise.tv_nsec / 1000;
    return 0;
}

void _exit(int status)
{
    if (part == shell) {
        while (wait(NULL) > 0 || errno == EINTR) {
        }
    }
    syscall(SYS_exit_group, status);
    __builtin_unreachable();
}
