// The form of the store's file: a head line, then the settings as sorted text (settings_text.h).
//
//     #ccfg 1 SIZE SUM
//
// SIZE is the size of the settings in bytes, SUM the sum of their contents, both in hexadecimal digits of fixed number.
// The head is a comment to `ccfg_cli import`, so that a damaged file can be mended with an editor and imported.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

// Bytes of the head line, its line end included.
inline constexpr size_t store_head_size = 34;

// Bytes that a store's file may have.
inline constexpr size_t store_capacity = size_t{16} << 20;

// A sum over the bytes, the same on every CPU. A change within eight bytes from a place divisible by eight always
// changes it, any other change leaves it as it is once in 2^64 cases.
uint64_t content_sum(std::string_view bytes);

// Writes the head of a store with these settings to the `store_head_size` bytes at `head`, without a NUL.
void write_store_head(std::string_view settings, char* head);

// Gives the settings of a whole file. Returns false when a single byte of it is not as it was written.
bool settings_of_store(std::string_view file, std::string_view& settings);
