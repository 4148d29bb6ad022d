// What a terminal wants: colors or none, and no more than it shows.
#pragma once

#include "screen.h"

// How standard output is to be written to: colors when it is a terminal and the environment does not say otherwise, and
// a terminal's columns.
ScreenStyle terminal_style();

// From now on SIGWINCH is noted, and the next look clears the screen.
void heed_resizing();

// True when the terminal has got another size since the last look was written.
bool is_another_size();

// Writes one look of several to standard output, with the time above it. On a terminal it takes the place of what is
// shown, without the empty lines when there is no room for them, and cut to the terminal's rows, because the summary
// at the top must not scroll away.
void write_watched(const Report& report, const Options& options);
