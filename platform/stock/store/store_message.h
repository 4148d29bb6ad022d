// What the store has to say to a person, on standard error.
#pragma once

#include <string_view>

// Writes one line, "ccfg: " first.
[[gnu::format(printf, 1, 2)]] void store_message(const char* format, ...);

// Bytes of a text with its control characters replaced by '?', fit for a message. Valid until the next call.
const char* printable(std::string_view text);
