#include "ruleset_file.h"

#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>

#include "frame/files.h"
#include "frame/log.h"

void append_to_ruleset(const char* piece)
{
    const FileDescriptor file(ruleset_path, O_WRONLY | O_APPEND | O_CREAT);
    if (!file.is_open()) {
        log_line("save2file6", "Can't open %s", ruleset_path);
        std::exit(1);
    }
    file.write(piece, std::strlen(piece));
}

void append_formatted_to_ruleset(const char* format, ...)
{
    char piece[10240];
    std::va_list values;
    va_start(values, format);
    print_values(piece, sizeof piece, format, values);
    va_end(values);
    append_to_ruleset(piece);
}
