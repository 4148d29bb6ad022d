// How a target says that a property does not hold.
#pragma once

#include <string>

// Prints what was found, non-printable bytes as \xHH, and ends the process the way that the fuzzer takes for a crash.
[[noreturn]] void finding(const std::string& what);

// Bytes fit for a message.
std::string shown(const std::string& bytes);

// The input that is being tried outside of the fuzzer's loop, which saves its own; said with a finding.
void note_input(const std::string& input);
