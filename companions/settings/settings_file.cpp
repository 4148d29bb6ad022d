#include "settings_file.h"

#include <errno.h>
#include <string.h>

#include "line_reader.h"
#include "setting_name.h"
#include "settings_import.h"
#include "store_message.h"
#include "text_parts.h"

namespace {

constexpr unsigned long told = 10;

// What is wrong with a line, in the words of somebody who looks at it in an editor. Null when nothing is.
const char* fault_of(std::string_view line)
{
    SettingName name;
    std::string_view value;
    const char* const fault = parse_setting(line, name, value);
    if (fault == nullptr)
        return nullptr;
    if (line.back() == '\r')
        return "the line ends with a carriage return, as files of another system do";
    if (fault == name_fault && first_part(line, line.find('=')).find_first_of(" \t") != line.npos)
        return "there is a blank before, after or in the name";
    return fault;
}

// The start of a line, in characters that no terminal takes for more than that.
const char* shown_start(std::string_view line)
{
    static char start[81];
    const size_t size = line.size() < sizeof start - 1 ? line.size() : sizeof start - 1;
    for (size_t i = 0; i < size; ++i)
        start[i] = line[i] >= ' ' && line[i] <= '~' ? line[i] : '?';
    start[size] = '\0';
    return start;
}

bool add_line(std::string_view line, MemoryArea& area, size_t& size)
{
    if (!area.reserve(size + line.size() + 1))
        return false;
    if (!line.empty())
        memcpy(area.data() + size, line.data(), line.size());
    size += line.size();
    area.data()[size++] = '\n';
    return true;
}

} // namespace

bool read_settings(int fd, const char* name, MemoryArea& area, std::string_view& lines)
{
    LineReader reader(fd);
    std::string_view line;
    size_t size = 0;
    unsigned long bad = 0;
    LineResult result = LineResult::line;
    while (result == LineResult::line && (result = reader.next(line)) != LineResult::end) {
        if (result == LineResult::failed) {
            store_message("%s: cannot be read: %s", name, strerror(errno));
            return false;
        }
        const bool is_skipped = result == LineResult::line && is_skipped_line(line);
        const char* const fault = result == LineResult::too_long ? "the line is too long"
                                  : is_skipped                   ? nullptr
                                                                 : fault_of(line);
        if (fault != nullptr && ++bad <= told)
            store_message("%s: line %lu: %s: %s", name, reader.number(), fault, shown_start(line));
        if (!add_line(is_skipped || fault != nullptr ? std::string_view() : line, area, size)) {
            store_message("%s: cannot be read: %s", name, strerror(errno));
            return false;
        }
    }
    if (bad > told)
        store_message("%s: %lu more lines are no settings", name, bad - told);
    lines = {area.data(), size};
    return bad == 0;
}
