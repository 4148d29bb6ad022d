#include "user_filter.h"

#include <arpa/inet.h>

#include "frame/address_text.h"
#include "frame/log.h"
#include "params/param_record.h"
#include "params/setting.h"
#include "platform/config_store.h"
#include "ruleset_file.h"

namespace {

constexpr int record_limit = 20;

void leave_out(const FilterRecord& record, const char* why)
{
    log_line("write_user_filter", "record %s is left out of the ruleset: %s.", record.name, why);
}

void write_rules(const char* protocol, const char* host, const char* ports)
{
    save2file6("-A FORWARD -p %s -s %s -m multiport --dports %s -j ACCEPT\n", protocol, host, ports);
    save2file6("-A FORWARD -p %s -d %s -m multiport --dports %s -j ACCEPT\n", protocol, host, ports);
}

// True when the loader takes the range's values; says why not otherwise.
bool is_loadable(const FilterRecord& record, const FilterRange& range)
{
    const bool both = range.protocol[0] == 'b';
    const bool one = !range.protocol.was_cut() && (range.protocol.equals("tcp") || range.protocol.equals("udp"));
    if (!both && !one) {
        leave_out(record, "unknown protocol");
        return false;
    }
    if (record.host.was_cut() || !is_filter_host(record.host)) {
        leave_out(record, "its host is no IPv6 address");
        return false;
    }
    const bool whole = !range.first.was_cut() && !range.last.was_cut();
    if (!whole || !is_filter_port(range.first) || !is_filter_port(range.last)
        || to_int(range.first) > to_int(range.last)) {
        leave_out(record, "its ports are no range within 1 to 65535");
        return false;
    }
    return true;
}

void write_range(const FilterRecord& record, const FilterRange& range)
{
    if (range.first.empty() || range.last.empty())
        return;
    const char letter = range.protocol[0];
    if (letter != 'b' && letter != 't' && letter != 'u')
        return;
    if (!is_loadable(record, range))
        return;
    Text<16> ports;
    if (to_int(range.first) == to_int(range.last))
        ports = range.first;
    else
        ports.print("%s:%s", range.first, range.last);
    if (letter != 'b') {
        write_rules(range.protocol, record.host, ports);
        return;
    }
    write_rules("tcp", record.host, ports);
    write_rules("udp", record.host, ports);
}

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
    in6_addr octets = {};
    if (address.was_cut() || inet_pton(AF_INET6, address, &octets) != 1)
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

void write_user_filter(int tid)
{
    if (tesa_ccfg_cmp_str(tid, parm.wan_sect, "ip6_filter_cnt", "0") == 0)
        return;
    Text<1024> list;
    read_setting(tid, parm.wan_sect, "ip6_filter_list", list);
    char* record = list.data();
    char* scan = record + (*record != '\0' ? 1 : 0); // the list's first character never ends a record
    for (int count = 0; count < record_limit; ++count) {
        char* const end = scan + std::strcspn(scan, "/");
        const bool last = *end == '\0';
        *end = '\0';
        const FilterRecord parsed = parse_filter_record(record);
        for (const FilterRange& range : parsed.range)
            write_range(parsed, range);
        if (last)
            return;
        record = end + 1;
        scan = record;
    }
}
