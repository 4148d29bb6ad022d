// Texts that somebody else chose: what may be taken in, and what may be written into a file that a daemon parses.
#pragma once

#include "text.h"

bool has_control_character(const char* text);

// True when `text` holds no control character; otherwise false, with a log line under `name` that says that `what`
// counts as absent.
bool is_acceptable(const char* name, const char* what, const char* text);

// True when `text` can stand as a value in a configuration file of radvd, dhcpd or dhclient: no control character and
// none that ends a statement, opens a block, a string or a comment there (; { } " # \). Otherwise false, with a log
// line under `name` that says what is left out of `file`.
bool fits_statement(const char* name, const char* file, const char* what, const char* text);

// True when `text` can stand as one word of a rule for ip6tables-restore: no blank, control, quoting or comment
// character. Otherwise false, with a log line under `name`.
bool fits_rule(const char* name, const char* what, const char* text);
