// The processes that matter here, out of /proc.
#pragma once

#include "frame/text.h"

struct Process {
    int pid = 0;        // 0: there is none
    long long age = 0;  // seconds
    Text<1024> command; // its words, joined by blanks
    Text<256> config;   // the file behind -C or -cf, empty without one

    bool is_running() const { return pid != 0; }
};

// The oldest process whose program has this name: the last part of its first word, or of the script's path where that
// is a shell. With a `word` (null: whatever they are) one of its arguments must be that.
Process find_process(const char* name, const char* word = nullptr);

// False when /proc is not there to be asked.
bool can_see_processes();
