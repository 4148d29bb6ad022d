#include <stdlib.h>
#include <unistd.h>

#include "processes.h"
#include "sections.h"
#include "small_file.h"
#include "store_file.h"
#include "wan_lease.h"

namespace {

constexpr long long longest_run = 120; // seconds
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

// Factory settings lie beside the store.
Text<256> import_command()
{
    Text<256> path;
    path = store_path();
    char* const slash = strrchr(path.data(), '/');
    path.assign(path.c_str(), slash != nullptr ? static_cast<size_t>(slash - path.data()) + 1 : 0);
    path.append("ccfg.factory");
    Text<256> command;
    if (access(path, R_OK) == 0)
        command.print("ccfg_cli import %s", path);
    return command;
}

// While a run is at work, the kernel may be ahead of the store: a remedy for that would undo what the run has done. A
// client that has just been started will start runs.
void report_run(Report& report, const Look& look)
{
    Process run = find_run();
    if (!run.is_running())
        run = starting_client(look);
    if (!run.is_running())
        return;
    auto row =
        report.add("at_work", "%s is at work, for %s, pid %d", run.name.c_str(), duration(run.age).c_str(), run.pid);
    row.seconds(run.age);
    if (run.age >= longest_run)
        row.wrong("it should have ended: something that it has started may hang");
    else
        report.withhold_helps();
}

} // namespace

void report_system(Report& report, const Look& look)
{
    report.section("system");
    report_run(report, look);
    if (look.store_fault != nullptr) {
        auto row = report.add("store", "%s", store_path());
        row.unknown("%s", look.store_fault);
        if (look.settings.can_be_replaced()) // what is damaged is kept under another name
            row.help(import_command());
    } else {
        report.add("store", "%s", store_path()).good();
        if (look.ip6_ready)
            report.add("ip6_wan_ready", "1").good();
        else
            report.add("ip6_wan_ready", "%ld", look.settings.number("system", "ip6_wan_ready"))
                .wrong("the WAN has no IPv6")
                .help(wan_start(look));
        report.add("ip4_wan_ready", "%ld", look.settings.number("system", "ip4_wan_ready"));
    }
    if (!can_see_processes())
        report.add("processes", "-").unknown("/proc tells nothing");
    report_guard(report);
}
