// What the store has to say to a person: in the system's log, because standard error belongs to the program that uses
// the store; the store tool has it on standard error.
#pragma once

#include <string_view>

// From here on messages go to standard error.
void store_messages_to_stderr();

// Says one line, "ccfg: " first.
[[gnu::format(printf, 1, 2)]] void store_message(const char* format, ...);

// Says one line that must not be overlooked: in the system's log, and on standard error when messages go there.
[[gnu::format(printf, 1, 2)]] void store_warning(const char* format, ...);

// Bytes of a text with its control characters replaced by '?', fit for a message. Valid until the next call.
const char* printable(std::string_view text);
