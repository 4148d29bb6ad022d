// Key and section of a setting's name.
#pragma once

#include <string_view>

struct NameParts {
    std::string_view key;
    std::string_view section; // empty when there was no '@'
};

// Of "key@section=", "key@section" or "key".
NameParts split_name(std::string_view name);
