#include "folded_line.h"

#include <string.h>

namespace {

// Where the part of `text` that fits into `room` columns ends. `*rest` is where the next part begins.
const char* part_end(const char* text, unsigned room, const char** rest)
{
    const char* last_blank = nullptr;
    bool has_word = false;
    unsigned width = 0;
    const char* at = text;
    while (*at != '\0') {
        if (*at == '\033') {
            at += strcspn(at, "m");
            at += *at == 'm' ? 1 : 0;
            continue;
        }
        if (*at == ' ' && has_word)
            last_blank = at;
        if (width == room)
            break;
        has_word = has_word || *at != ' ';
        ++width;
        ++at;
    }
    const char* end = at;
    if (*at != '\0' && last_blank != nullptr)
        end = last_blank;
    *rest = end + strspn(end, " ");
    while (end > text && end[-1] == ' ')
        --end;
    return end;
}

} // namespace

void write_folded(FILE* out, const char* line, unsigned columns, unsigned indent)
{
    if (columns == 0) {
        fprintf(out, "%s\n", line);
        return;
    }
    const unsigned behind = indent < columns / 2 ? indent : columns / 8;
    const char* rest = line;
    for (unsigned blanks = 0;; blanks = behind) {
        const char* const part = rest;
        const char* const end = part_end(part, columns - blanks, &rest);
        fprintf(out, "%*s%.*s\n", static_cast<int>(blanks), "", static_cast<int>(end - part), part);
        if (*rest == '\0')
            return;
    }
}
