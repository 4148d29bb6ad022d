// A fuzz target: the fields into which an input is split, and what is done with them.
#pragma once

#include <string>
#include <vector>

using Fields = std::vector<std::string>;

struct Target {
    char separator; // between the fields; NUL for texts, which cannot hold one
    Fields normal;  // an ordinary input, as many fields as `run` takes
    void (*run)(const Fields& fields);
};

// Each target's source defines its own.
extern const Target target;

// Separator for fields that are whole files.
inline constexpr char file_separator = '\x1e';
