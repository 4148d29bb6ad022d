// The fixed ruleset, shaped by the WAN mode and the prefixes.
#pragma once

// Writes the whole ruleset file, the user's services included.
void write_base_ruleset(int tid);
