// The verbs of ccfg_cli: how each is called, and what it does in words.
#pragma once

#include <stdio.h>

#include <string_view>

struct CcfgVerb {
    const char* name;
    const char* arguments; // as the usage shows them
    const char* text;      // its lines, the first without the indentation of the others
};

// Null when there is no such verb.
const CcfgVerb* find_verb(std::string_view name);

// The verb that a mistyped one looks most like. Null when none is near.
const CcfgVerb* nearest_verb(std::string_view name);

// Writes how the verb is called, or with null how each of them is.
void write_usage(FILE* out, const CcfgVerb* verb);

// Writes what the verb does, or with null what the tool does with all of its verbs.
void write_verb_help(FILE* out, const CcfgVerb* verb);
