// Beside the preload that makes pauses instant: the program under test alone is preloaded, the shells that it starts
// are not, so that they cost what they cost on a device.
#define _GNU_SOURCE
#include <stdlib.h>

__attribute__((constructor)) static void begin(void)
{
    unsetenv("LD_PRELOAD");
}
