// The shell of a test: no line is run; every line is recorded and answered as the test has it.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

struct ShellRecorder {
    std::vector<std::string> lines; // in the order in which they were to be run

    std::map<std::string, int> status;                   // of a line; 0 unless set; negative: could not be run
    std::map<std::string, std::string> output;           // of a line; empty unless set
    std::map<std::string, std::function<void()>> effect; // what running a line does
};

ShellRecorder& shell_recorder();
