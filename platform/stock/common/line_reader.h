// Lines of an open file, read without the heap.
#pragma once

#include <stddef.h>

#include <string_view>

// Longest line that is taken, line end not counted; the longest line of a settings file is 1151 bytes.
inline constexpr size_t line_capacity = 2047;

enum class LineResult { line, end, too_long, failed };

class LineReader {
public:
    // Reads from `fd`, which stays the caller's.
    explicit LineReader(int fd) : fd_(fd) {}

    // Gives the next line without its line end; it is valid until the next call. The last line may lack its line end.
    // `too_long`: `line` holds the start of the line, and nothing more can be read. `failed`: errno says why.
    LineResult next(std::string_view& line);

    // Number of the line last given, from 1.
    unsigned long number() const { return number_; }

private:
    bool fill();

    int fd_;
    size_t start_ = 0;
    size_t end_ = 0;
    unsigned long number_ = 0;
    bool at_end_ = false;
    char buffer_[line_capacity + 1] = {};
};
