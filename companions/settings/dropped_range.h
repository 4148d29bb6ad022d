// Addresses that the gateway's ruleset never forwards, whatever else it lets through.
#pragma once

struct DroppedRange {
    const char* prefix;
    unsigned length;
    const char* why; // what the range is for
};

// The range that the address of 16 octets lies in; null when it is forwarded.
const DroppedRange* dropped_range(const unsigned char* octets);
