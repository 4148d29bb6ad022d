// How near a mistyped word is to a known one.
#pragma once

#include <stddef.h>

#include <string_view>

// Number of letters to insert, leave out, replace, or exchange with the next one that make one text the other; 63 for a
// text longer than that.
size_t letters_between(std::string_view one, std::string_view other);

// How many of them a word of this length may be off and still be meant: of a short word nearly everything would be
// near.
size_t letters_off(size_t length);
