// Watches the composer of shell lines: what it makes of each template and its values must split into exactly the
// template's words, each value whole in its place.
#pragma once

#include <set>
#include <string>

#include "frame/shell.h"

// The lines composed since the last reset that fit their buffer.
std::set<std::string>& composed_lines();

// Checks one composed line; a finding when it does not hold.
void check_composed(const char* format, const ShellValue* values, std::size_t count, const std::string& line);
