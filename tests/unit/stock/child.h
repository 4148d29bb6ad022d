// Other processes of a test.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

struct Outcome {
    int status; // exit status, or 128 + signal
    std::string output;
    std::string errors;

    bool operator==(const Outcome&) const = default;
};

// Runs a program with `input` on its standard input, both outputs apart.
Outcome run_program(const std::vector<std::string>& arguments, const std::string& input = "");

// Runs `body` in a process of its own and ends that with the status that it returns.
pid_t start_child(const std::function<int()>& body);

// Waits for a child. Returns its exit status, or 128 + signal.
int wait_child(pid_t pid);
int run_child(const std::function<int()>& body);

// Runs `body` here and returns what it wrote to standard error.
std::string errors_of(const std::function<void()>& body);
