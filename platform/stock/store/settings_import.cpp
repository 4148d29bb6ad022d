#include "settings_import.h"

#include <errno.h>
#include <string.h>

#include "line_reader.h"
#include "store_message.h"

bool is_skipped_line(std::string_view line)
{
    return line.empty() || line.front() == '#' || line.find_first_not_of(" \t\r") == line.npos;
}

bool import_settings(int fd, const char* source, StoreWriter* writer)
{
    LineReader lines(fd);
    std::string_view line;
    for (;;) {
        const LineResult result = lines.next(line);
        if (result == LineResult::end)
            return true;
        if (result == LineResult::failed) {
            store_message("%s: cannot be read: %s", source, strerror(errno));
            return false;
        }
        if (result == LineResult::line && is_skipped_line(line))
            continue;
        SettingName name;
        std::string_view value;
        const char* const fault =
            result == LineResult::too_long ? "the line is too long" : parse_setting(line, name, value);
        if (fault != nullptr) {
            store_message("%s: line %lu: %s: %s", source, lines.number(), fault, printable(line));
            return false;
        }
        if (writer != nullptr && !writer->put(name, value))
            return false;
    }
}
