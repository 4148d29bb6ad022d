// What ipv6status was asked for.
#pragma once

#include "frame/text.h"

struct Options {
    enum class Job : unsigned char { look, help, version };

    Job job = Job::look;
    bool json = false;
    long watch = 0;        // seconds; 0: only once
    unsigned sections = 0; // a bit for each of section_names, from the lowest; 0: all of them

    bool wants(const char* section) const;
};

// Reads the command line. Returns false when it is none that is known; `complaint` then says which word and why, as
// printable ASCII.
bool parse_options(int count, char** words, Options& options, Text<256>& complaint);
