// What a terminal wants: colors or none, and no more lines than it shows.
#pragma once

#include "report.h"

// True when standard output is a terminal and the environment does not say otherwise.
bool wants_colors();

// Writes one look of several to standard output, with the time above it. On a terminal it takes the place of what is
// shown, cut to the terminal's rows, because the summary at the top must not scroll away.
void write_watched(const Report& report);
