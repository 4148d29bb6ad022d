// One line of text for a terminal that may be narrower.
#pragma once

#include <stdio.h>

// Writes `line`, folded between its words into lines of at most `columns` (0: as it is), and ends it. What follows the
// first begins with `indent` blanks. Color sequences take no room; a word that is longer than a line is cut.
void write_folded(FILE* out, const char* line, unsigned columns, unsigned indent);
