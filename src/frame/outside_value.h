// Texts that somebody else chose: what may be taken in, and what may be written into a file that a daemon parses.
#pragma once

#include "text.h"

bool has_control_character(const char* text);

// True when `text` holds no control character; otherwise false, with a log line under `name` that says that `what`
// counts as absent.
bool is_acceptable(const char* name, const char* what, const char* text);

// The same for a line of words, in which the white space of the C locale (isspace(3)) is no control character.
bool is_acceptable_line(const char* name, const char* what, const char* line);

// True when `text` can stand as a value in a configuration file of radvd, dhcpd or dhclient: no control character and
// none that ends a statement, opens a block, a string or a comment there (; { } " # \), no byte 0xFF, in which dhcpd
// and dhclient see the end of the file, and not blanks alone, which would leave the statement without a value.
// Otherwise false, with a log line under `name` that says what is left out of `file`. The empty text passes: what an
// empty value means is its writer's business.
bool fits_statement(const char* name, const char* file, const char* what, const char* text);

// The same for a value that must also be `taken` by the grammar of its daemon; `why` is the log's word when it is not.
bool fits_grammar(const char* name, const char* file, const char* what, const char* text, bool taken, const char* why);

// The log line of a value that is not written: "`what` is left out of `file`: `why`."
void say_left_out(const char* name, const char* file, const char* what, const char* why);
