// What another program prints. No shell is involved.
#pragma once

#include <stddef.h>

// Runs `words` (ended by null; the first is looked up in PATH) with no input and its messages dropped, and copies what
// it prints into `buffer` of `size` bytes, ended by a NUL. A program that takes longer than five seconds is killed.
// Returns null, or why there is no answer.
const char* child_output(const char* const* words, char* buffer, size_t size);
