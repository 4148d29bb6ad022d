// Stands in for every outside program: notes how it was called and answers as the test scripted it.
//
// The note goes to /gw/journal: "C", then NUL-ended texts: number of words, the words, number of variables, the
// variables. A rule of the test is a folder /gw/rules/<program>/<number> with the files `when` (NUL-ended words that
// must begin the arguments), `times` (how often the rule serves), `stdout`, `sh` (shell text run with the arguments)
// and `status`; the first rule that fits is the answer. No rule: status 0 and no output.
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

extern char** environ;

static char note[65536];
static size_t note_len;

static void add(const char* text)
{
    size_t len = strlen(text) + 1;
    if (note_len + len > sizeof note) {
        fprintf(stderr, "recorder: call too long\n");
        exit(98);
    }
    memcpy(note + note_len, text, len);
    note_len += len;
}

static void add_list(char** list)
{
    char number[16];
    int count = 0;
    while (list[count] != NULL)
        count++;
    snprintf(number, sizeof number, "%d", count);
    add(number);
    for (int i = 0; i < count; i++)
        add(list[i]);
}

// Reads a file of a rule; -1 when the rule does not have it.
static ssize_t read_rule(const char* rule, const char* part, char* buf, size_t size)
{
    char path[4096];
    snprintf(path, sizeof path, "%s/%s", rule, part);
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    ssize_t got = read(fd, buf, size - 1);
    close(fd);
    buf[got > 0 ? got : 0] = '\0';
    return got;
}

static int fits(const char* rule, char** argv)
{
    char words[8192];
    ssize_t len = read_rule(rule, "when", words, sizeof words);
    for (const char* word = words; word < words + len; word += strlen(word) + 1) {
        if (*++argv == NULL || strcmp(*argv, word) != 0)
            return 0;
    }
    if (read_rule(rule, "times", words, sizeof words) >= 0) {
        char path[4096];
        struct stat used;
        snprintf(path, sizeof path, "%s/used", rule);
        int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (fd < 0 || fstat(fd, &used) != 0 || used.st_size >= atoi(words) || write(fd, "x", 1) != 1)
            return 0;
        close(fd);
    }
    return 1;
}

static int answer(const char* rule, char** argv)
{
    static char text[1 << 20];
    char path[4096];
    ssize_t len = read_rule(rule, "stdout", text, sizeof text);
    for (ssize_t done = 0; done < len;) {
        ssize_t put = write(1, text + done, (size_t)(len - done));
        if (put <= 0)
            break;
        done += put;
    }
    snprintf(path, sizeof path, "%s/sh", rule);
    if (access(path, R_OK) == 0) {
        char* shell[64] = {"sh", path};
        for (int i = 1; i < 61 && argv[i] != NULL; i++)
            shell[i + 1] = argv[i];
        execv("/bin/sh", shell);
        return 98;
    }
    return read_rule(rule, "status", text, sizeof text) > 0 ? atoi(text) : 0;
}

int main(int argc, char** argv)
{
    const char* slash = strrchr(argv[0], '/');
    char rules[3072];

    (void)argc;
    add("C");
    add_list(argv);
    add_list(environ);
    int fd = open("/gw/journal", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0 || write(fd, note, note_len) != (ssize_t)note_len) {
        perror("recorder: /gw/journal");
        return 98;
    }
    close(fd);

    snprintf(rules, sizeof rules, "/gw/rules/%s", slash != NULL ? slash + 1 : argv[0]);
    for (int i = 0;; i++) {
        char rule[4096];
        snprintf(rule, sizeof rule, "%s/%d", rules, i);
        if (access(rule, F_OK) != 0)
            return 0;
        if (fits(rule, argv))
            return answer(rule, argv);
    }
}
