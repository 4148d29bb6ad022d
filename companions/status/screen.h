// The report as one screen of text, and as JSON.
#pragma once

#include <stdio.h>

#include "report.h"

// Writes it as text; the health and every reason come first.
void write_screen(FILE* out, const Report& report, bool colors);

// Writes it as one line of JSON (ipv6status.schema.json). `now` is in seconds since 1970.
void write_json(FILE* out, const Report& report, long long now);
