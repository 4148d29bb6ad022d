// The guard between the program and the device of the unit tests.
#pragma once

#include <string>

// While one lives, the program under test runs: its system calls go to the test's device, and only the files that the
// program is known to use can be named. Outside of it the calls are the fuzzer's own and pass.
class ProgramRuns {
public:
    ProgramRuns();
    ~ProgramRuns();
    ProgramRuns(const ProgramRuns&) = delete;
    ProgramRuns& operator=(const ProgramRuns&) = delete;
};

// True for the files that the program may open, and for its interface switches of an interface with a plain name.
bool is_known_file(const std::string& path);

// What happens at the next pause, once; for loops that wait for the device.
void at_next_pause(void (*happen)());
