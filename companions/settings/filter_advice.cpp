#include "filter_advice.h"

#include <string.h>

#include "dropped_range.h"
#include "firewall/filter_record.h"
#include "text_parts.h"
#include "value_check.h"

namespace {

// The program passes over a range whose protocol begins with none of these letters, without a word in the log.
const char* fault_of(const FilterRecord& record, const FilterRange& range)
{
    const char letter = range.protocol[0];
    if (!range.first.empty() && !range.last.empty() && letter != 'b' && letter != 't' && letter != 'u')
        return "its protocol is neither tcp nor udp nor both";
    return filter_range_fault(record, range);
}

// Returns false when the range is left out.
bool advise_range(const FilterRecord& record, int range, std::string_view wan, Findings& findings, int number)
{
    const char* const fault = fault_of(record, record.range[range]);
    if (fault != nullptr)
        findings.add("ip6_filter_list", wan, "record %d (%s), range %d is left out: %s", number,
                     static_cast<const char*>(record.name), range + 1, fault);
    return fault == nullptr;
}

void advise_host(const FilterRecord& record, std::string_view wan, Findings& findings, int number)
{
    unsigned char octets[16];
    if (!parse_ip6(static_cast<const char*>(record.host), octets))
        return;
    if (const DroppedRange* const range = dropped_range(octets))
        findings.add(
            "ip6_filter_list", wan,
            "record %d (%s) opens nothing: its host lies in %s/%u, for %s, and the firewall forwards none of it",
            number, static_cast<const char*>(record.name), range->prefix, range->length, range->why);
}

bool opens_nothing(const FilterRecord& record)
{
    for (const FilterRange& range : record.range) {
        if (!range.first.empty() && !range.last.empty())
            return false;
    }
    return true;
}

void advise_record(const FilterRecord& record, std::string_view wan, Findings& findings, int number)
{
    if (opens_nothing(record)) {
        findings.add("ip6_filter_list", wan, "record %d (%s) opens nothing: it has no pair of ports", number,
                     static_cast<const char*>(record.name));
        return;
    }
    bool is_taken = true;
    for (int range = 0; range < 2; ++range)
        is_taken = advise_range(record, range, wan, findings, number) && is_taken;
    if (is_taken)
        advise_host(record, wan, findings, number);
}

} // namespace

void advise_filter(const SettingLines& settings, Findings& findings)
{
    const std::string_view wan = settings.wan_section();
    const std::string_view list = settings.get("ip6_filter_list", wan);
    const std::string_view count = settings.get("ip6_filter_cnt", wan, "0");
    if (first_part(count, 1) == "0") {
        if (!list.empty())
            findings.add("ip6_filter_cnt", wan, "is 0: none of the records in ip6_filter_list is in force");
        return;
    }
    if (list.empty()) {
        findings.add("ip6_filter_list", wan, "is empty: nothing is opened");
        return;
    }
    std::string_view rest = list;
    int number = 0;
    for (bool more = true; more; ++number) {
        // The list's first character never ends a record.
        const size_t end = rest.find('/', number == 0 ? 1 : 0);
        more = end != rest.npos;
        if (number == filter_record_limit) {
            findings.add("ip6_filter_list", wan, "has more than %d records: the others are not in force",
                         filter_record_limit);
            return;
        }
        char text[1024] = {};
        const std::string_view record = first_part(rest, end);
        if (!record.empty() && record.size() < sizeof text)
            memcpy(text, record.data(), record.size());
        advise_record(parse_filter_record(text), wan, findings, number + 1);
        rest = more ? rest_after(rest, end + 1) : std::string_view();
    }
}
