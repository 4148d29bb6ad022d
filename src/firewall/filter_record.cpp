#include "filter_record.h"

#include "frame/address_text.h"

namespace {

// Takes the next field; false when it is empty. Moves `at` behind the field's end.
template <std::size_t N>
bool take_field(const char*& at, Text<N>& field)
{
    const std::size_t length = std::strcspn(at, "';");
    if (length == 0)
        return false;
    field.assign(at, length);
    at += length;
    return true;
}

bool skip_separator(const char*& at)
{
    if (*at != ';')
        return false;
    ++at;
    return true;
}

} // namespace

FilterRecord parse_filter_record(const char* text)
{
    FilterRecord record;
    const char* at = text;
    if (!take_field(at, record.name) || !skip_separator(at) || !take_field(at, record.host))
        return record;
    for (FilterRange& range : record.range) {
        if (!skip_separator(at) || !take_field(at, range.protocol) || !skip_separator(at)
            || !take_field(at, range.first) || !skip_separator(at) || !take_field(at, range.last))
            return record;
    }
    return record;
}

bool is_filter_host(const char* host)
{
    const char* const slash = std::strchr(host, '/');
    Text<40> address;
    address.assign(host, slash != nullptr ? static_cast<std::size_t>(slash - host) : std::strlen(host));
    if (address.was_cut() || !is_ip6_address(address))
        return false;
    if (slash == nullptr)
        return true;
    const std::size_t digits = std::strspn(slash + 1, "0123456789");
    return digits >= 1 && digits <= 3 && slash[1 + digits] == '\0' && to_int(slash + 1) <= 128;
}

bool is_filter_port(const char* port)
{
    const std::size_t digits = std::strspn(port, "0123456789");
    return digits >= 1 && digits <= 5 && port[digits] == '\0' && port[0] != '0' && to_int(port) <= 65535;
}

const char* filter_range_fault(const FilterRecord& record, const FilterRange& range)
{
    const char letter = range.protocol[0];
    if (range.first.empty() || range.last.empty() || (letter != 'b' && letter != 't' && letter != 'u'))
        return nullptr;
    const bool one = !range.protocol.was_cut() && (range.protocol.equals("tcp") || range.protocol.equals("udp"));
    if (letter != 'b' && !one)
        return "unknown protocol";
    if (record.host.was_cut() || !is_filter_host(record.host))
        return "its host is no IPv6 address";
    const bool whole = !range.first.was_cut() && !range.last.was_cut();
    if (!whole || !is_filter_port(range.first) || !is_filter_port(range.last)
        || to_int(range.first) > to_int(range.last))
        return "its ports are no range within 1 to 65535";
    return nullptr;
}
