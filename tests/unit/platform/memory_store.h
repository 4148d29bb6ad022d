// The configuration store of a test: settings in memory, and a record of every change that was asked for.
#pragma once

#include <map>
#include <string>
#include <vector>

struct MemoryStore {
    std::map<std::string, std::string> settings; // "key@section" to value
    std::vector<std::string> changes;            // "set key@section=value", "unset key@section", "commit FLAG 0", "end"

    // The value of "key@section", "(missing)" when there is none.
    std::string value(const std::string& name) const;
};

MemoryStore& memory_store();

// The transaction that tests work in; a call with any other one fails the test.
inline constexpr int test_tid = 7;
