// `ccfg_cli check` and `ccfg_cli help KEY`.
#pragma once

#include <string_view>

// Looks at settings given as lines key@section=value: each value against its type and range, each name against the
// known ones, and what the program takes but daemons refuse or hosts suffer from. Writes a line for each finding and
// returns their number.
unsigned check_settings(std::string_view lines);

// Writes what is known of `key`, or of `key@section`, with its value in force out of `lines`. Returns false when there
// is no such key; a line then says which one may have been meant.
bool help_setting(std::string_view name, std::string_view lines);

// Writes every key with its sections, a line each.
void list_known_settings();
