#include "terminal.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include "screen.h"

namespace {

constexpr size_t screen_capacity = 512 * size_t(1024);

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

void write_rows(const char* text, const winsize& size)
{
    unsigned left = size.ws_row - 1U; // the cursor stands behind the last line
    while (*text != '\0') {
        const size_t length = strcspn(text, "\n") + 1;
        const unsigned rows = rows_of(text, length - 1, size.ws_col);
        const bool is_last = text[length] == '\0';
        if (rows > left || (rows == left && !is_last)) {
            printf("... %d more lines\n", count_lines(text));
            return;
        }
        left -= rows;
        fwrite(text, 1, length, stdout);
        text += length;
    }
}

} // namespace

bool wants_colors()
{
    const char* const no_color = getenv("NO_COLOR");
    const char* const terminal = getenv("TERM");
    return isatty(STDOUT_FILENO) == 1 && (no_color == nullptr || no_color[0] == '\0')
           && (terminal == nullptr || strcmp(terminal, "dumb") != 0);
}

void write_watched(const Report& report)
{
    char clock[32] = "";
    const time_t now = time(nullptr);
    if (const tm* const parts = localtime(&now))
        strftime(clock, sizeof clock, "%F %T", parts);

    static char text[screen_capacity];
    const bool is_terminal = isatty(STDOUT_FILENO) == 1;
    winsize size = {};
    const bool has_size =
        is_terminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 2 && size.ws_col > 0;
    FILE* const screen = has_size ? fmemopen(text, sizeof text - 1, "w") : nullptr;
    if (is_terminal)
        fputs("\033[H\033[2J", stdout);
    if (screen == nullptr) {
        printf("%s\n", clock);
        write_screen(stdout, report, wants_colors());
        fputc('\n', stdout);
        return;
    }
    fprintf(screen, "%s\n", clock);
    write_screen(screen, report, wants_colors());
    fclose(screen); // ends the text with a NUL
    write_rows(text, size);
}
