#include <stdlib.h>

#include "processes.h"
#include "sections.h"
#include "small_file.h"
#include "store_file.h"

namespace {

constexpr char guard_file[] = "/tmp/zel_ipv6cp_script_running";

void report_guard(Report& report)
{
    char text[64];
    const bool is_set = read_small_file(guard_file, text, sizeof text) > 0 && strtol(text, nullptr, 10) > 0;
    if (!is_set) {
        report.add("guard", "free").good();
        return;
    }
    const bool at_work = find_process("zel_ipv6cp_up").is_running() || find_process("zel_ipv6cp_down").is_running();
    if (at_work)
        report.add("guard", "a link hook is at work");
    else
        report.add("guard", "set")
            .wrong("%s says that a link hook is at work and none is: the next ones refuse to run", guard_file)
            .help("rm -f /tmp/zel_ipv6cp_script_running");
}

} // namespace

void report_system(Report& report, const Look& look)
{
    report.section("system");
    if (look.store_fault != nullptr) {
        auto row = report.add("store", "%s", store_path());
        row.unknown("%s", look.store_fault);
        if (look.settings.can_be_replaced()) // what is damaged is kept under another name
            row.help("ccfg_cli import /etc/config/ccfg.factory");
    } else {
        report.add("store", "%s", store_path()).good();
        if (look.ip6_ready)
            report.add("ip6_wan_ready", "1").good();
        else
            report.add("ip6_wan_ready", "%ld", look.settings.number("system", "ip6_wan_ready"))
                .wrong("the WAN has no IPv6");
        report.add("ip4_wan_ready", "%ld", look.settings.number("system", "ip4_wan_ready"));
    }
    if (!can_see_processes())
        report.add("processes", "-").unknown("/proc tells nothing");
    report_guard(report);
}
