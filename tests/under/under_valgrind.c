// under-valgrind PATH ARGV0 [ARG...]: runs a program under memcheck inside a test's private root.
//
// Two kinds of runs go without it, and leave the empty file /gw/memcheck.not instead of a log: under a name that is not
// the program's path, because memcheck makes the path the name; and where there is no shell, because a spawn that fails
// cannot be told to the parent through memory that memcheck does not let them share.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { max_words = 64 };

int main(int argc, char** argv)
{
    const char* words[max_words] = {
        "/host/valgrind.bin",
        "-q",
        "--vgdb=no", // its pipes would stand in the gateway's /tmp
        "--leak-check=full",
        "--show-leak-kinds=all",
        "--errors-for-leak-kinds=all",
        "--suppressions=/gw/memcheck.supp",
        "--child-silent-after-fork=yes",
        "--log-file=/gw/memcheck.%p",
    };
    int count = 0;
    while (words[count] != NULL)
        count++;
    if (argc < 3 || count + argc > max_words) {
        fprintf(stderr, "under-valgrind: bad arguments\n");
        return 97;
    }
    if (strcmp(argv[1], argv[2]) != 0 || access("/bin/sh", X_OK) != 0) {
        close(open("/gw/memcheck.not", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        execv(argv[1], argv + 2);
        return 97;
    }
    words[count++] = argv[1];
    for (int i = 3; i < argc; i++)
        words[count++] = argv[i];
    setenv("VALGRIND_LIB", "/gw/valgrind", 1);
    execv(words[0], (char* const*)words);
    perror(words[0]);
    return 97;
}
