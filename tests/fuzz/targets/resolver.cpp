// /tmp/resolv.conf.auto as the link left it, and as the firmware has rebuilt it; the name servers of the store.
#include "lan/resolver.h"
#include "params/prepare_parm.h"
#include "platform/config_store.h"
#include "support/device.h"

namespace {

constexpr char resolv[] = "/tmp/resolv.conf.auto";

std::string rebuilt;

// Behind what was there: at most two lines, each "nameserver" and one value.
void check_appended(const std::string& all)
{
    if (all.compare(0, rebuilt.size(), rebuilt) != 0)
        finding("resolv.conf.auto: what was there is gone");
    std::string added = all.substr(rebuilt.size());
    for (int line = 0; !added.empty(); ++line) {
        const std::size_t end = added.find('\n');
        if (line == 2 || end == std::string::npos || added.rfind("nameserver ", 0) != 0)
            finding("resolv.conf.auto: a line of nobody: " + added);
        added.erase(0, end + 1);
    }
}

void run(const Fields& fields)
{
    start_device();
    write_file(resolv, fields[0]);
    rebuilt = fields[1];
    const char* const keys[] = {"ip6_dns1@system", "ip6_dns2@system", "ip6_dns_primary@wan100",
                                "ip6_dns_secondary@wan100"};
    for (std::size_t i = 0; i < 4; ++i)
        set_setting(keys[i], fields[2 + i]);
    shell_recorder().effect["/usr/sbin/resolv_update.sh SYSTEM"] = [] { write_file(resolv, rebuilt); };
    run_program([] {
        prepare_parm(test_tid);
        zel_resolv_update(test_tid);
    });
    check_appended(read_file(resolv));
}

} // namespace

const Target target = {
    file_separator,
    {"nameserver 192.0.2.53\nnameserver 192.0.2.54\n", "nameserver 127.0.0.1\n", "", "", "3fff::53", "3fff::54"},
    run};
