// Settings as sorted text: lines `key@section=value`, each with its line end, in the byte order of `key@section=`.
#pragma once

#include <string_view>

struct StoredSetting {
    std::string_view record; // "key@section="
    std::string_view value;
};

// True when `lines` is such a text: names and values within the limits, no name twice.
bool are_settings(std::string_view lines);

// Takes the first setting off `lines`, which must not be empty.
StoredSetting take_setting(std::string_view& lines);

// Finds the setting kept as `record` by halving; `value` points into `lines`.
bool find_setting(std::string_view lines, std::string_view record, std::string_view& value);
