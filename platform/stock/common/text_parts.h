// Parts of a text. string_view's own substr can throw, which would need the C++ runtime library.
#pragma once

#include <stddef.h>

#include <string_view>

// The first `size` bytes, or all of a shorter text.
constexpr std::string_view first_part(std::string_view text, size_t size)
{
    return {text.data(), size < text.size() ? size : text.size()};
}

// What follows the first `size` bytes; empty when nothing does.
constexpr std::string_view rest_after(std::string_view text, size_t size)
{
    return size < text.size() ? std::string_view(text.data() + size, text.size() - size) : std::string_view();
}
