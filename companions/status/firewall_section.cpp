#include <stdlib.h>
#include <unistd.h>

#include "child_output.h"
#include "firewall/filter_record.h"
#include "frame/address_text.h"
#include "ruleset.h"
#include "sections.h"
#include "small_file.h"

namespace {

constexpr char ruleset_path[] = "/tmp/.ip6t";
constexpr int most_listed = 32;

char ruleset[256 * 1024]; // the file's text, empty when there is none
char loaded[512 * 1024];  // what the kernel has, as ip6tables-save writes it

void judge_loaded(Report::Added& row, const RulesetComparison& rules, const char* load)
{
    if (rules.loaded == 0)
        row.wrong("the firewall is empty: everything is let through").help(load);
    else if (rules.missing > 0 && rules.has_empty_address)
        row.wrong(
               "%d of the file's rules are missing: it is refused, because some have no address for want of a prefix",
               rules.missing)
            .help(load);
    else if (rules.missing > 0)
        row.wrong("%d of the file's rules %s missing, the first is \"%s\": it was refused, or changed since",
                  rules.missing, rules.missing == 1 ? "is" : "are", rules.first_missing.c_str())
            .help(load);
    else if (rules.written > 0)
        row.good();
}

void report_loaded(Report& report, const char* load, bool has_file)
{
    if (!has_file)
        report.add("ruleset", "not written yet")
            .wrong("%s is missing: the firewall has not been loaded", ruleset_path)
            .help(load);
    const char* const words[] = {"ip6tables-save", "-c", nullptr};
    const char* const fault = child_output(words, loaded, sizeof loaded);
    const RulesetComparison rules = compare_rulesets(ruleset, loaded);
    if (has_file) {
        auto row = report.add("ruleset", "%d rules in %s", rules.written, ruleset_path);
        if (rules.written == 0)
            row.wrong("it is no ruleset").help(load);
    }
    if (fault != nullptr) {
        report.add("loaded", "-")
            .unknown("ip6tables-save: %s%s", fault, geteuid() != 0 ? "; it answers root alone" : "");
        return;
    }
    Text<48> others;
    if (has_file && rules.missing == 0 && rules.loaded > rules.written)
        others.print(", %d more than the file has", rules.loaded - rules.written);
    auto row = report.add("loaded", "%d rules%s", rules.loaded, others.c_str());
    judge_loaded(row, rules, load);
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

void report_range(Report& report, const char* load, const char* item, const FilterRecord& record,
                  const FilterRange& range)
{
    if (range.first.empty() || range.last.empty())
        return;
    const char letter = range.protocol[0];
    auto row = report.add("user_record", "%s: %s %s %s-%s", record.name.c_str(), record.host.c_str(),
                          letter == 'b' ? "both" : range.protocol.c_str(), range.first.c_str(), range.last.c_str());
    row.item(item);
    if (letter != 'b' && letter != 't' && letter != 'u')
        row.wrong("left out: its protocol is neither tcp nor udp nor both");
    else if (const char* const fault = filter_range_fault(record, range))
        row.wrong("left out: %s", fault);
    else if (!is_written(record, range))
        row.wrong("not in force: the ruleset was written without it").help(load);
    else
        row.good();
}

void report_record(Report& report, const char* load, int number, const char* text)
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
        report_range(report, load, item, record, range);
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
            report_record(report, firewall_load(look), number, record);
        record = end + 1;
        scan = record;
    }
    report.add_more("the user records", number - most_listed);
}

} // namespace

void report_firewall(Report& report, const Look& look)
{
    report.section("firewall");
    const bool has_file = read_small_file(ruleset_path, ruleset, sizeof ruleset) >= 0;
    report_loaded(report, firewall_load(look), has_file);
    if (look.store_fault == nullptr && look.wan_fault == nullptr)
        report_user_records(report, look);
}
