#include "terminal.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr size_t screen_capacity = 512 * size_t(1024);
constexpr unsigned fewest_columns = 20; // of a terminal that lines are folded for

// Rows that a line takes; color sequences take no room.
unsigned rows_of(const char* line, size_t length, unsigned columns)
{
    unsigned width = 0;
    bool is_sequence = false;
    for (size_t i = 0; i < length; ++i) {
        is_sequence = is_sequence || line[i] == '\033';
        width += is_sequence ? 0 : 1;
        is_sequence = is_sequence && line[i] != 'm';
    }
    return width <= columns ? 1 : (width + columns - 1) / columns;
}

int count_lines(const char* text)
{
    int count = 0;
    for (; *text != '\0'; ++text)
        count += *text == '\n' ? 1 : 0;
    return count;
}

int rows_of_all(const char* text, unsigned columns)
{
    unsigned count = 0;
    while (*text != '\0') {
        const size_t length = strcspn(text, "\n");
        count += rows_of(text, length, columns);
        text += length + 1;
    }
    return static_cast<int>(count);
}

void drop_empty_lines(char* text)
{
    char* to = text;
    for (const char* from = text; *from != '\0'; ++from) {
        if (*from != '\n' || to == text || to[-1] != '\n')
            *to++ = *from;
    }
    *to = '\0';
}

// `line_end` clears what an earlier look has left in a line.
void write_rows(const char* text, const winsize& size, const char* line_end)
{
    unsigned left = size.ws_row - 1U; // the cursor stands behind the last line
    while (*text != '\0') {
        const size_t length = strcspn(text, "\n");
        const unsigned rows = rows_of(text, length, size.ws_col);
        const bool is_last = text[length + 1] == '\0';
        if (rows > left || (rows == left && !is_last)) {
            printf("... %d more lines%s\n", count_lines(text), line_end);
            return;
        }
        left -= rows;
        fwrite(text, 1, length, stdout);
        printf("%s\n", line_end);
        text += length + 1;
    }
}

bool size_of_terminal(winsize& size)
{
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 2 && size.ws_col > 0;
}

volatile sig_atomic_t is_resized = 0; // what is shown has to be cleared

void resized(int)
{
    is_resized = 1;
}

} // namespace

void heed_resizing()
{
    struct sigaction action = {};
    action.sa_handler = resized;
    action.sa_flags = SA_RESTART; // no write is to fail by it
    sigaction(SIGWINCH, &action, nullptr);
}

bool is_another_size()
{
    return is_resized != 0;
}

ScreenStyle terminal_style()
{
    ScreenStyle style;
    if (isatty(STDOUT_FILENO) != 1)
        return style;
    const char* const no_color = getenv("NO_COLOR");
    const char* const terminal = getenv("TERM");
    style.colors =
        (no_color == nullptr || no_color[0] == '\0') && (terminal == nullptr || strcmp(terminal, "dumb") != 0);
    winsize size = {};
    if (size_of_terminal(size) && size.ws_col >= fewest_columns)
        style.columns = size.ws_col;
    return style;
}

void write_watched(const Report& report, const Options& options)
{
    char clock[32] = "";
    const time_t now = time(nullptr);
    if (const tm* const parts = localtime(&now))
        strftime(clock, sizeof clock, "%F %T", parts);

    static char text[screen_capacity];
    static bool is_first = true;
    const bool is_fresh = is_first || is_resized != 0;
    is_first = false;
    is_resized = 0;
    const bool is_terminal = isatty(STDOUT_FILENO) == 1;
    winsize size = {};
    const bool has_size = is_terminal && size_of_terminal(size);
    FILE* const screen = has_size ? fmemopen(text, sizeof text - 1, "w") : nullptr;
    if (screen == nullptr) {
        printf("%s%s\n", is_terminal ? "\033[H\033[2J" : "", clock);
        write_screen(stdout, report, options, terminal_style());
        fputc('\n', stdout);
        return;
    }
    fprintf(screen, "%s\n", clock);
    write_screen(screen, report, options, terminal_style());
    fclose(screen); // ends the text with a NUL
    if (rows_of_all(text, size.ws_col) >= size.ws_row)
        drop_empty_lines(text);
    // Written over what is there: a cleared screen flickers on a slow line.
    fputs(is_fresh ? "\033[H\033[2J" : "\033[H", stdout);
    write_rows(text, size, is_fresh ? "" : "\033[K");
    if (!is_fresh)
        fputs("\033[J", stdout);
}
