// Linked into a program that counts what is reached: inside a test's private root its counters go to the folder that is
// mounted there, and not to the path of the build, which does not exist there. The variables are set when the program
// ends, so that nothing that it starts sees them; the counters are written after every other end of the program.
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

#define TEXT(number) TEXT_OF(number)
#define TEXT_OF(number) #number

__attribute__((destructor)) static void choose_place(void)
{
    if (access("/gw/.coverage", W_OK) != 0)
        return;
    setenv("GCOV_PREFIX", "/gw/.coverage", 1);
    setenv("GCOV_PREFIX_STRIP", TEXT(BUILD_FOLDER_DEPTH), 1);
}

// What the counters' library calls in place of open: the unit tests have an open of their own, which ends before the
// library.
int open_counters(const char* path, int flags, unsigned mode);

int open_counters(const char* path, int flags, unsigned mode)
{
    return (int)syscall(SYS_openat, AT_FDCWD, path, flags, mode);
}
