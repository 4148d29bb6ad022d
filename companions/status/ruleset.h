// The filter's rules as ip6tables-restore reads and ip6tables-save prints them.
#pragma once

#include "frame/text.h"

struct RulesetComparison {
    int written = 0; // rules of the file
    int loaded = 0;  // rules of the kernel's filter
    int missing = 0; // rules of the file that the kernel's filter does not have in this order
    Text<256> first_missing;
    bool has_empty_address = false; // a rule of the file has none before the length, so the file is refused as a whole
};

// Compares the file with what the kernel has, chain by chain. The kernel prints a rule in words of its own, so rules
// are held to be the same when their target and their interfaces are.
RulesetComparison compare_rulesets(const char* file, const char* saved);
