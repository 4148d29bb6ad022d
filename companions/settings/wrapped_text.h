// Text for a person: broken between words where a terminal ends, and in one line for everybody else, who may be a
// program.
#pragma once

#include <stddef.h>

#include <string_view>

// Columns of the terminal that standard output is; 0 when it is none, or one too narrow to break texts for.
size_t terminal_columns();

// Writes `text` to standard output, on a line of which `used` columns are taken; the lines that a terminal makes of it
// begin with `indent` blanks. No line end behind it.
void write_wrapped(std::string_view text, size_t used, size_t indent);

// Writes the start of `text` that fits into what is left of the line, "..." in place of the words that do not.
void write_shortened(std::string_view text, size_t used);
