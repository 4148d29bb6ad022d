// The composer itself: any template of the program's kinds of places, any values. The check is in its wrapper.
#include <array>
#include <cstdlib>

#include "support/composed_lines.h"
#include "support/finding.h"
#include "support/target.h"

namespace {

// One of each kind of place that a value takes in the program's lines, and some mixtures.
constexpr std::array formats = {
    "%s",
    "/sbin/ifconfig %s del %s/%d",
    "ccfg_cli get %s_%d@system",
    "/usr/sbin/ip -6 route add %s%s::/%d via %s dev %s",
    "vorn_syslog_cli addEventCode -1 P007 \"%s\"",
    "sed -i '/^nameserver %s/d' %s",
    "iptables-save > %s",
    "nslookup %s > /tmp/host.log",
    "/tmp/dhcp6d -6 -cf %s&",
    "/usr/sbin/dhclient %s %s %s %s %s %s %s -cf %s -sf %s &",
    "a%s \"b%s c\" '%s' \"it's%s\" '\"'%s",
    "killall radvd; rm -f %s",
};

std::size_t count_slots(const char* format)
{
    std::size_t count = 0;
    for (; *format != '\0'; ++format)
        count += *format == '%' ? 1 : 0;
    return count;
}

bool is_number_slot(const char* format, std::size_t slot)
{
    for (;; ++format) {
        if (*format == '%' && slot-- == 0)
            return format[1] == 'd';
    }
}

// The first field chooses the template and the size of the line, the others are the values.
void run(const Fields& fields)
{
    const unsigned choice = static_cast<unsigned>(std::strtoul(fields[0].c_str(), nullptr, 10));
    const char* const format = formats[choice % formats.size()];
    const std::size_t count = count_slots(format);
    std::vector<ShellValue> values;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string& field = fields[1 + i % (fields.size() - 1)];
        if (is_number_slot(format, i))
            values.emplace_back(static_cast<int>(std::strtol(field.c_str(), nullptr, 10)));
        else
            values.emplace_back(field.c_str());
    }
    const std::size_t sizes[] = {sizeof(ShellLine), 16384, 1024, 64, 2};
    const std::size_t size = sizes[choice / formats.size() % 5];
    std::string line(size, '\x7f');
    line[size - 1] = '\x7e'; // what lies behind the line must stay
    const bool fits = compose_shell_line(line.data(), size - 1, format, values.data(), count);
    const std::size_t length = line.find('\0');
    if (length == std::string::npos || line[size - 1] != '\x7e')
        finding("the line is not ended within its buffer");
    if (!fits && length != size - 2)
        finding("the line was given up before its buffer was full");
    std::string roomy(200000, '\0');
    if (!compose_shell_line(roomy.data(), roomy.size(), format, values.data(), count))
        finding("a line does not fit its largest form");
    if (fits && line.compare(0, length, roomy, 0, roomy.find('\0')) != 0)
        finding("the line depends on its buffer");
    composed_lines().clear();
}

} // namespace

const Target target = {'\0', {"13", "2001:db8::1", "br-lan", "64", "a b", "it's", "x", "$y"}, run};
