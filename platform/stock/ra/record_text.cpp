#include "record_text.h"

#include <stdio.h>

#include <charconv>

#include "text_parts.h"

namespace {

constexpr size_t address_digits = 32;
constexpr size_t max_interface_name = 20;
constexpr unsigned long max_column = 0xff; // two digits
constexpr std::string_view solicitations_word = "Icmp6OutType133";

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

std::string_view next_word(std::string_view& rest)
{
    size_t start = 0;
    while (start < rest.size() && is_blank(rest[start]))
        ++start;
    size_t end = start;
    while (end < rest.size() && !is_blank(rest[end]))
        ++end;
    const std::string_view word = rest_after(first_part(rest, end), start);
    rest = rest_after(rest, end);
    return word;
}

bool is_hex(std::string_view text)
{
    return text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
}

bool is_two_digits(std::string_view text)
{
    return text.size() == 2 && is_hex(text);
}

template <typename T>
bool read_number(std::string_view text, int base, T& number)
{
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, base);
    return result.ec == std::errc() && result.ptr == end;
}

} // namespace

std::optional<AddressLine> parse_address_line(std::string_view line)
{
    AddressLine parsed = {};
    std::string_view rest = line;
    parsed.address = next_word(rest);
    const std::string_view index = next_word(rest);
    parsed.prefix_length = next_word(rest);
    parsed.scope = next_word(rest);
    parsed.flags = next_word(rest);
    parsed.interface = next_word(rest);
    const bool fits = parsed.address.size() == address_digits && is_hex(parsed.address)
                      && read_number(index, 16, parsed.index) && is_two_digits(parsed.prefix_length)
                      && is_two_digits(parsed.scope) && is_two_digits(parsed.flags) && !parsed.interface.empty()
                      && parsed.interface.size() <= max_interface_name;
    return fits ? std::optional(parsed) : std::nullopt;
}

std::optional<unsigned long> parse_solicitations(std::string_view line)
{
    std::string_view rest = line;
    unsigned long count;
    if (next_word(rest) != solicitations_word || !read_number(next_word(rest), 10, count))
        return std::nullopt;
    return count;
}

size_t format_record(const AddressLine& line, const InterfaceState* state, unsigned long solicitations,
                     char (&record)[record_capacity])
{
    uint32_t flags = state != nullptr ? state->flags : 0;
    const bool has_router = state != nullptr && state->router_rank > 0;
    if (!has_router)
        flags &= ~advertisement_received;
    // A link that went down and up keeps the flags of the advertisement before it.
    if ((flags & advertisement_received) == 0)
        flags &= ~(managed_flag | other_flag);

    char router[address_digits + 1];
    for (size_t i = 0; i < sizeof(in6_addr); ++i) {
        const unsigned int octet = (flags & advertisement_received) != 0 ? state->router.s6_addr[i] : 0;
        snprintf(router + 2 * i, 3, "%02x", octet);
    }
    const auto text = [](std::string_view part) { return static_cast<int>(part.size()); };
    const int size =
        snprintf(record, sizeof record, "%.*s %02lx %.*s %.*s %.*s %02lx %08lx %.*s %s\n", text(line.address),
                 line.address.data(), static_cast<unsigned long>(line.index) & max_column, text(line.prefix_length),
                 line.prefix_length.data(), text(line.scope), line.scope.data(), text(line.flags), line.flags.data(),
                 solicitations < max_column ? solicitations : max_column, static_cast<unsigned long>(flags),
                 text(line.interface), line.interface.data(), router);
    return size > 0 ? static_cast<size_t>(size) : 0;
}
