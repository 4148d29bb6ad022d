// The heap as the rooms see it: what they took and have not given back, and the day on which nothing is left.
#pragma once

#include <cstddef>

struct Heap {
    std::size_t taken = 0;                                // blocks that were asked for and given
    std::size_t held = 0;                                 // of them, those not given back yet
    std::size_t available = static_cast<std::size_t>(-1); // blocks until there is no memory
};

Heap& heap();
