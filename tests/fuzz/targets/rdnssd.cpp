// Name servers that a router advertised, as the daemon leaves them in its file.
#include "lan/start_ipv6_lan.h"
#include "params/prepare_parm.h"
#include "platform/config_store.h"
#include "support/device.h"
#include "wan/advertised_servers.h"
#include "wan/dhcp6c.h"

namespace {

void run(const Fields& fields)
{
    start_device();
    write_file("/tmp/rdnssd", fields[0]);
    run_program([] {
        prepare_parm(test_tid);
        get_rdnssd_dns(test_tid);
        start_ipv6_lan(test_tid);
    });
    for (const char* const key : {"ip6_dns_primary@wan100", "ip6_dns_secondary@wan100"}) {
        const auto found = memory_store().settings.find(key);
        if (found != memory_store().settings.end() && found->second.size() > 45)
            finding(std::string("more than an address in ") + key + ": " + found->second);
    }
}

} // namespace

const Target target = {file_separator, {"nameserver 3fff::53\nnameserver 3fff::54\n"}, run};
