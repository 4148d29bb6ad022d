// Text of bounded size: a fixed buffer that cuts on assignment and knows whether it was cut.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstring>

#include "printf_format.h"

// The storage-independent half of Text. `size` counts the terminator. Each returns whether the text was cut.
bool copy_text(char* to, std::size_t size, const char* from, std::size_t length);
bool append_text(char* to, std::size_t size, const char* from, std::size_t length);
bool print_text(char* to, std::size_t size, const char* format, ...);
bool print_values(char* to, std::size_t size, const char* format, std::va_list values);

// A NUL-terminated text of at most N - 1 bytes. N is the buffer size, terminator included.
template <std::size_t N>
class Text {
public:
    static constexpr std::size_t capacity = N;

    constexpr Text() = default;

    // Only for initial values that are known to fit.
    template <std::size_t M>
    constexpr explicit Text(const char (&literal)[M])
    {
        static_assert(M <= N, "the text does not fit");
        for (std::size_t i = 0; i < M; ++i)
            bytes_[i] = literal[i];
    }

    Text(const Text&) = default;
    Text& operator=(const Text&) = default;

    Text& operator=(const char* from)
    {
        assign(from, std::strlen(from));
        return *this;
    }

    void assign(const char* from, std::size_t length) { cut_ = copy_text(bytes_, N, from, length); }
    void append(const char* from) { cut_ |= append_text(bytes_, N, from, std::strlen(from)); }

    // Replaces the text by the formatted one. None of the values may be this text itself.
    template <class... A>
    void print(FormatFor<A...> format, const A&... values)
    {
        cut_ = print_text(bytes_, N, format.text, printf_value(values)...);
    }

    void clear()
    {
        bytes_[0] = '\0';
        cut_ = false;
    }

    // The buffer itself, for calls that fill it; they must leave a terminator in it.
    char* data() { return bytes_; }
    const char* c_str() const { return bytes_; }
    operator const char*() const { return bytes_; }

    std::size_t length() const { return std::strlen(bytes_); }
    bool empty() const { return bytes_[0] == '\0'; }
    bool was_cut() const { return cut_; }
    bool equals(const char* other) const { return std::strcmp(bytes_, other) == 0; }

private:
    char bytes_[N] = {};
    bool cut_ = false;
};
