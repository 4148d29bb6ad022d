// Settings as text, one `key@section=value` a line.
#pragma once

#include <string_view>

#include "store_writer.h"

// Reads settings from `fd`, named `source` in messages, and puts each into `writer`; with a null `writer` they are only
// checked. Blank lines and lines that start with '#' are skipped. Returns false after a message: for a line that is not
// a setting it has the line's number and text.
bool import_settings(int fd, const char* source, StoreWriter* writer);

// True for a line that says nothing: a comment, or blanks alone.
bool is_skipped_line(std::string_view line);
