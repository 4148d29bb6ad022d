// `ccfg_cli check`.
#pragma once

#include <string_view>

// Looks at settings given as lines key@section=value: each value against its type and range, each name against the
// known ones, and what the program takes but daemons refuse or hosts suffer from. Writes a line for each finding and
// returns their number; a terminal is told too when there is none. `file` is where the lines are from, named in front
// of each finding with the number of the line; null for the store and standard input.
unsigned check_settings(std::string_view lines, const char* file);

// The same for one setting, kept as `record`, that is about to join those of `lines`: its name and its value alone.
void check_setting(std::string_view lines, std::string_view record, std::string_view value);
