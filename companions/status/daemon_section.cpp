#include <sys/stat.h>
#include <time.h>

#include "look.h"
#include "processes.h"
#include "sections.h"

namespace {

struct Daemon {
    const char* name;
    const char* word; // an argument by which it is told from others of its name
    const char* sign; // while this file is there the daemon must run; null: nothing tells
    const char* help; // what starts it; null: what starts the LANs' daemons
};

constexpr Daemon daemons[] = {
    {"dhclient", "-6", "/var/run/dhcp6c-wan.pid", "dhcp6c_start"},
    {"radvd", nullptr, "/tmp/radvd.conf", nullptr},
    {"dhcp6d", nullptr, "/tmp/dhcp6d.conf", nullptr},
    {"rdnssd", nullptr, "/tmp/rdnssd", "zel_ipv6_lan lan"},
    {"dnsmasq", nullptr, "/var/run/dnsmasq2.pid", "/etc/init.d/dnsmasq2 restart"},
    {"ecmh", nullptr, nullptr, ""},
};

bool is_there(const char* path)
{
    struct stat file;
    return lstat(path, &file) == 0;
}

// True when the file has been changed since the daemon was started; both times are known to the second only.
bool has_changed(const Process& process)
{
    struct stat file;
    return lstat(process.config, &file) == 0 && file.st_mtime > time(nullptr) - process.age + 1;
}

// What starts the daemon. For those of the LANs that depends on the WAN.
const char* start_of(const Look& look, const Daemon& daemon)
{
    return daemon.help != nullptr ? daemon.help : lan_restart(look);
}

void report_daemon(Report& report, const Look& look, const Daemon& daemon)
{
    const char* const start = start_of(look, daemon);
    const Process process = find_process(daemon.name, daemon.word);
    if (!process.is_running()) {
        auto row = report.add("daemon", "not running");
        row.item(daemon.name);
        if (daemon.sign != nullptr && is_there(daemon.sign))
            row.wrong("%s is there, so it has been started, and it does not run", daemon.sign).help(start);
        return;
    }
    auto row = report.add("daemon", "for %s, pid %d", duration(process.age).c_str(), process.pid);
    row.item(daemon.name).seconds(process.age);
    if (process.is_stopped) {
        Text<32> command;
        command.print("kill -CONT %d", process.pid);
        row.wrong("somebody has stopped it: it does nothing until it is continued").help(command);
    } else {
        row.good();
    }
    if (process.config.empty())
        return;
    auto file = report.add("file", "%s", process.config.c_str());
    file.item(daemon.name);
    if (!is_there(process.config))
        file.wrong("it is gone").help(start);
    else if (has_changed(process))
        file.wrong("it has changed since the daemon was started").help(start);
    else
        file.good();
}

} // namespace

void report_daemons(Report& report, const Look& look)
{
    report.section("daemons");
    for (const Daemon& daemon : daemons)
        report_daemon(report, look, daemon);
}
