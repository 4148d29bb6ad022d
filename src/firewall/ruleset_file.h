// The ruleset file, built by appending.
#pragma once

#include "frame/text.h"

inline constexpr char ruleset_path[] = "/tmp/.ip6t";

// Appends one finished piece. When the file cannot be opened, logs it and ends the process with status 1: half a
// ruleset must not be loaded.
void append_to_ruleset(const char* piece);
void append_formatted_to_ruleset(const char* format, ...);

// Appends one formatted line, its line end included in `format`. At most 10239 bytes.
template <class... A>
void save2file6(FormatFor<A...> format, const A&... values)
{
    append_formatted_to_ruleset(format.text, printf_value(values)...);
}
