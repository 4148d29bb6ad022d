// The time of a test: it stands still, and a pause is only noted.
#pragma once

#include <cstdint>
#include <vector>

struct DeviceClock {
    std::int64_t now = 1000000000; // seconds since 1970
    long uptime = 1234;            // seconds since boot
    std::vector<long> pauses;      // milliseconds each
    int interruptions = 0;         // how many of the next pauses a signal cuts in half
};

DeviceClock& device_clock();
