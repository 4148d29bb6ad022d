// A file of settings that is only looked at.
#pragma once

#include <string_view>

#include "memory_area.h"

// Reads `fd`, lines key@section=value, into `area`: `lines` are all of them, empty ones in place of comments. Returns
// false when a line is none of a settings file; the first ten of those are told, with `name` as the file's.
bool read_settings(int fd, const char* name, MemoryArea& area, std::string_view& lines);
