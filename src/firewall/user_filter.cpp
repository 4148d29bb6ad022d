#include "user_filter.h"

#include "filter_record.h"
#include "frame/address_text.h"
#include "frame/log.h"
#include "params/param_record.h"
#include "params/setting.h"
#include "platform/config_store.h"
#include "ruleset_file.h"

namespace {

void write_rules(const char* protocol, const char* host, const char* ports)
{
    save2file6("-A FORWARD -p %s -s %s -m multiport --dports %s -j ACCEPT\n", protocol, host, ports);
    save2file6("-A FORWARD -p %s -d %s -m multiport --dports %s -j ACCEPT\n", protocol, host, ports);
}

void write_range(const FilterRecord& record, const FilterRange& range)
{
    if (range.first.empty() || range.last.empty())
        return;
    const char letter = range.protocol[0];
    if (letter != 'b' && letter != 't' && letter != 'u')
        return;
    if (const char* const fault = filter_range_fault(record, range)) {
        log_line("write_user_filter", "record %s is left out of the ruleset: %s.", record.name, fault);
        return;
    }
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

} // namespace

void write_user_filter(int tid)
{
    if (tesa_ccfg_cmp_str(tid, parm.wan_sect, "ip6_filter_cnt", "0") == 0)
        return;
    Text<1024> list;
    read_setting(tid, parm.wan_sect, "ip6_filter_list", list);
    char* record = list.data();
    char* scan = record + (*record != '\0' ? 1 : 0); // the list's first character never ends a record
    for (int count = 0; count < filter_record_limit; ++count) {
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
