#include "ip6_prefix.h"

#include <algorithm>

#include "frame/address_text.h"

namespace {

constexpr int group_count = 8;

// The hexadecimal number at the start of `text`, modulo 2^16; 0 when there is none.
unsigned group_value(const char* text)
{
    unsigned value = 0;
    for (;; ++text) {
        unsigned digit = 0;
        if (*text >= '0' && *text <= '9')
            digit = static_cast<unsigned>(*text - '0');
        else if (*text >= 'a' && *text <= 'f')
            digit = static_cast<unsigned>(*text - 'a') + 10;
        else if (*text >= 'A' && *text <= 'F')
            digit = static_cast<unsigned>(*text - 'A') + 10;
        else
            return value;
        value = (value << 4 | digit) & 0xFFFFU;
    }
}

using Groups = std::array<unsigned, group_count>;

Groups read_groups(const char* address)
{
    Groups groups = {};
    int count = 0;
    int gap = -1; // the group before "::"
    const char* piece = address;
    for (const char* colon = std::strchr(piece, ':'); colon != nullptr; colon = std::strchr(piece, ':')) {
        groups[static_cast<std::size_t>(count)] = group_value(piece);
        piece = colon + 1;
        if (*piece == ':') {
            gap = count;
            ++piece;
        }
        if (++count == group_count)
            return groups;
    }
    groups[static_cast<std::size_t>(count++)] = group_value(piece);
    if (gap >= 0)
        std::rotate(groups.begin() + gap + 1, groups.begin() + count, groups.end());
    return groups;
}

} // namespace

int parse_ip6_prefix(const char* text, Ip6Octets* prefix_out, int* pfxlen_out)
{
    if (text == nullptr || prefix_out == nullptr || pfxlen_out == nullptr)
        return -1;
    const std::size_t length = std::strlen(text);
    if (length < 4 || length >= 43)
        return -1;
    const char* const slash = std::strchr(text, '/');
    if (slash == nullptr || slash[1] == '\0')
        return -1;

    AddressText address;
    address.assign(text, static_cast<std::size_t>(slash - text));
    const Groups groups = read_groups(address);
    Ip6Octets octets;
    for (std::size_t i = 0; i < group_count; ++i) {
        octets[2 * i] = static_cast<unsigned char>(groups[i] >> 8);
        octets[2 * i + 1] = static_cast<unsigned char>(groups[i] & 0xFFU);
    }
    *pfxlen_out = to_int(slash + 1);
    mask_ip6_prefix(*prefix_out, octets, *pfxlen_out);
    return 1;
}

void mask_ip6_prefix(Ip6Octets& dst, const Ip6Octets& src, int pfxlen)
{
    const std::size_t bits = static_cast<std::size_t>(std::clamp(pfxlen, 0, 128));
    const std::size_t whole = bits >> 3;
    const unsigned rest = static_cast<unsigned>(bits & 7);
    Ip6Octets masked = {};
    std::copy_n(src.begin(), whole, masked.begin());
    if (rest != 0)
        masked[whole] = static_cast<unsigned char>(src[whole] & (0xFF00U >> rest));
    dst = masked;
}

AddressText long_form(const Ip6Octets& octets)
{
    AddressText text;
    char* at = text.data();
    for (std::size_t i = 0; i < octets.size(); ++i) {
        if (i != 0 && i % 2 == 0)
            *at++ = ':';
        constexpr char digits[] = "0123456789ABCDEF";
        *at++ = digits[octets[i] >> 4];
        *at++ = digits[octets[i] & 0xF];
    }
    *at = '\0';
    return text;
}
