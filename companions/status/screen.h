// The report as one screen of text, and as JSON.
#pragma once

#include <stdio.h>

#include "options.h"
#include "report.h"

struct ScreenStyle {
    bool colors = false;
    unsigned columns = 0; // lines are folded between words to fit into so many; 0: they are not
};

// Writes it as text: the health and every reason first, then the sections that `options` names, or all of them.
void write_screen(FILE* out, const Report& report, const Options& options, const ScreenStyle& style);

// Writes it as one line of JSON (ipv6status.schema.json). `now` is in seconds since 1970.
void write_json(FILE* out, const Report& report, long long now);
