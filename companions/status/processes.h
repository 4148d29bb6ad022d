// The processes that matter here, out of /proc.
#pragma once

#include "frame/text.h"

struct Process {
    int pid = 0;        // 0: there is none
    long long age = 0;  // seconds
    Text<1024> command; // its words, joined by blanks
    Text<256> config;   // the file behind -C or -cf, empty without one
    Text<64> name;      // of its program, or of the script that a shell runs
    bool is_stopped = false;

    bool is_running() const { return pid != 0; }
};

// The oldest process whose program has this name: the last part of its first word, or of the script's path where that
// is a shell. With a `word` (null: whatever they are) one of its arguments must be that. A process of another network
// namespace is none of this gateway's, where that can be seen.
Process find_process(const char* name, const char* word = nullptr);

// The oldest process that is a run of the program: one of the command names is in its name.
Process find_run();

// False when /proc is not there to be asked.
bool can_see_processes();
