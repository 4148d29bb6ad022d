#include "dropped_range.h"

#include <arpa/inet.h>
#include <string.h>

namespace {

constexpr DroppedRange ranges[] = {{"2001:db8::", 32, "documentation"},
                                   {"2001:10::", 28, "an expired experiment (RFC 4843)"},
                                   {"fd00::", 8, "unique-local addresses"},
                                   {"fec0::", 10, "site-local addresses (RFC 3879)"},
                                   {"fe80::", 64, "link-local addresses"}};

bool is_within(const unsigned char* address, const char* prefix, unsigned length)
{
    unsigned char octets[16];
    if (inet_pton(AF_INET6, prefix, octets) != 1)
        return false;
    const unsigned whole = length / 8;
    const unsigned rest = length % 8;
    return memcmp(address, octets, whole) == 0
           && (rest == 0 || ((address[whole] ^ octets[whole]) & (0xFF00U >> rest) & 0xFFU) == 0);
}

} // namespace

const DroppedRange* dropped_range(const unsigned char* octets)
{
    for (const DroppedRange& range : ranges) {
        if (is_within(octets, range.prefix, range.length))
            return &range;
    }
    return nullptr;
}
