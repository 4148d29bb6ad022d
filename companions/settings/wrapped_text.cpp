#include "wrapped_text.h"

#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "text_parts.h"

namespace {

constexpr size_t narrowest = 30;
constexpr size_t least_room = 16; // columns that are worth a word or two

// Columns of a text: the bytes that begin a character of UTF-8.
size_t columns_of(std::string_view text)
{
    size_t columns = 0;
    for (const char c : text)
        columns += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
    return columns;
}

void write_part(std::string_view text)
{
    if (!text.empty())
        fwrite(text.data(), 1, text.size(), stdout);
}

} // namespace

size_t terminal_columns()
{
    winsize size = {};
    if (isatty(STDOUT_FILENO) != 1 || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0)
        return 0;
    return size.ws_col < narrowest ? 0 : size.ws_col;
}

void write_wrapped(std::string_view text, size_t used, size_t indent)
{
    const size_t columns = terminal_columns();
    if (columns == 0) {
        write_part(text);
        return;
    }
    bool at_start = true;
    while (!text.empty()) {
        const std::string_view word = first_part(text, text.find(' '));
        const size_t width = columns_of(word);
        if (at_start) {
            used += width;
        } else if (used + 1 + width > columns) {
            printf("\n%*s", static_cast<int>(indent), "");
            used = indent + width;
        } else {
            putchar(' ');
            used += 1 + width;
        }
        write_part(word);
        at_start = false;
        text = rest_after(text, word.size() + 1);
    }
}

void write_shortened(std::string_view text, size_t used)
{
    constexpr std::string_view omission = "...";
    const size_t columns = terminal_columns();
    if (columns == 0 || used + columns_of(text) <= columns) {
        write_part(text);
        return;
    }
    if (used + least_room > columns)
        return;
    const size_t room = columns - used - omission.size();
    std::string_view start = first_part(text, text.find(' '));
    for (size_t end = start.size(); end != text.npos && columns_of(first_part(text, end)) <= room;
         end = text.find(' ', end + 1))
        start = first_part(text, end);
    write_part(start);
    write_part(omission);
}
