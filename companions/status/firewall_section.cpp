#include <stdlib.h>
#include <unistd.h>

#include "child_output.h"
#include "firewall/filter_record.h"
#include "frame/address_text.h"
#include "sections.h"
#include "small_file.h"

namespace {

constexpr char ruleset_path[] = "/tmp/.ip6t";
constexpr char load[] = "ipv6_lan_restart";
constexpr int most_listed = 32;

char ruleset[256 * 1024]; // the file's text, empty when there is none
char loaded[512 * 1024];  // what the kernel has, as ip6tables-save writes it

// Rules are the lines with "-A ", behind the counters where there are some.
int count_rules(const char* text)
{
    int count = 0;
    for (const char* line = text; *line != '\0';) {
        const char* at = line;
        if (*at == '[')
            at += strcspn(at, "]\n") + 1;
        while (*at == ' ')
            ++at;
        count += strncmp(at, "-A ", 3) == 0 ? 1 : 0;
        line += strcspn(line, "\n");
        line += *line == '\n' ? 1 : 0;
    }
    return count;
}

void report_loaded(Report& report, bool has_file)
{
    const int written = has_file ? count_rules(ruleset) : 0;
    if (has_file)
        report.add("ruleset", "%d rules in %s", written, ruleset_path);
    else
        report.add("ruleset", "not written yet")
            .wrong("%s is missing: the firewall has not been loaded", ruleset_path)
            .help(load);
    const char* const words[] = {"ip6tables-save", "-c", nullptr};
    if (const char* const fault = child_output(words, loaded, sizeof loaded)) {
        report.add("loaded", "-")
            .unknown("ip6tables-save: %s%s", fault, geteuid() != 0 ? "; it answers root alone" : "");
        return;
    }
    const int in_force = count_rules(loaded);
    Text<48> others;
    if (has_file && in_force > written)
        others.print(", %d more than the file has", in_force - written);
    auto row = report.add("loaded", "%d rules%s", in_force, others.c_str());
    if (in_force == 0)
        row.wrong("the firewall is empty: everything is let through").help(load);
    else if (in_force < written)
        row.wrong("%d rules of the file are not loaded: it was refused, or flushed since", written - in_force)
            .help(load);
    else if (has_file)
        row.good();
}

// True when the file has the rules of a range that is in force.
bool is_written(const FilterRecord& record, const FilterRange& range)
{
    Text<16> ports;
    if (to_int(range.first) == to_int(range.last))
        ports = range.first;
    else
        ports.print("%s:%s", range.first, range.last);
    const char letter = range.protocol[0];
    Text<256> rule;
    rule.print("-A FORWARD -p %s -d %s -m multiport --dports %s -j ACCEPT\n",
               letter == 'b' ? "udp" : range.protocol.c_str(), record.host, ports);
    return strstr(ruleset, rule) != nullptr;
}

void report_range(Report& report, const char* item, const FilterRecord& record, const FilterRange& range)
{
    if (range.first.empty() || range.last.empty())
        return;
    auto row = report.add("user_record", "%s: %s %s %s-%s", record.name.c_str(), record.host.c_str(),
                          range.protocol.c_str(), range.first.c_str(), range.last.c_str());
    row.item(item);
    const char letter = range.protocol[0];
    if (letter != 'b' && letter != 't' && letter != 'u')
        row.wrong("left out: its protocol is neither tcp nor udp nor both");
    else if (const char* const fault = filter_range_fault(record, range))
        row.wrong("left out: %s", fault);
    else if (!is_written(record, range))
        row.wrong("not in force: the ruleset was written without it").help(load);
    else
        row.good();
}

void report_record(Report& report, int number, const char* text)
{
    const FilterRecord record = parse_filter_record(text);
    Text<16> item;
    item.print("%d", number);
    if (number > filter_record_limit) {
        report.add("user_record", "%s", record.name.c_str())
            .item(item)
            .wrong("left out: only the first %d are in force", filter_record_limit);
        return;
    }
    bool has_range = false;
    for (const FilterRange& range : record.range) {
        has_range = has_range || (!range.first.empty() && !range.last.empty());
        report_range(report, item, record, range);
    }
    if (!has_range)
        report.add("user_record", "%s", record.name.c_str()).item(item).wrong("left out: it has no pair of ports");
}

void report_user_records(Report& report, const Look& look)
{
    if (look.settings.text<8>(look.wan_sect, "ip6_filter_cnt").equals("0"))
        return;
    Text<1024> list = look.settings.text<1024>(look.wan_sect, "ip6_filter_list");
    char* record = list.data();
    if (*record == '\0')
        return;
    char* scan = record + 1; // the list's first character never ends a record
    int number = 0;
    for (bool last = false; !last;) {
        char* const end = scan + strcspn(scan, "/");
        last = *end == '\0';
        *end = '\0';
        if (++number <= most_listed)
            report_record(report, number, record);
        record = end + 1;
        scan = record;
    }
    report.add_more("the user records", number - most_listed);
}

} // namespace

void report_firewall(Report& report, const Look& look)
{
    report.section("firewall");
    const bool has_file = read_small_file(ruleset_path, ruleset, sizeof ruleset) > 0;
    report_loaded(report, has_file);
    if (look.store_fault == nullptr && look.wan_fault == nullptr)
        report_user_records(report, look);
}
