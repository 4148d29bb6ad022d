// The DHCPv6 client's environment: one whole binding and the event that applies it, or any other event.
#include <array>
#include <cstdlib>

#include "params/prepare_parm.h"
#include "platform/config_store.h"
#include "support/device.h"
#include "wan/dhcp6c_events.h"

namespace {

// In the order of the fields.
constexpr std::array variables = {
    "reason",
    "interface",
    "stateless",
    "new_ip6_address",
    "new_ip6_prefixlen",
    "new_ip6_prefix",
    "new_dhcp6_name_servers",
    "new_dhcp6_domain_search",
    "new_dhcp6_domain_name",
    "new_dhcp6_sntp_servers",
    "new_dhcp6_host_name",
    "new_preferred_life",
    "new_max_life",
    "new_renew",
    "new_rebind",
    "old_ip6_address",
    "old_ip6_prefix",
};

void run(const Fields& fields)
{
    start_device();
    for (std::size_t i = 0; i < variables.size(); ++i) {
        const std::string value = as_text(fields[i]);
        if (value == "-") // absent, which is not the same as empty
            unsetenv(variables[i]);
        else
            setenv(variables[i], value.c_str(), 1);
    }
    set_setting("ip6_dhcp6c_prefix_mode@system", fields[variables.size()]);
    run_program([] {
        prepare_parm(test_tid);
        dhcp6c_main(test_tid);
    });

    setenv("reason", "EFFECT6", 1);
    run_program([] {
        prepare_parm(test_tid);
        dhcp6c_main(test_tid);
    });
}

} // namespace

const Target target = {'\0',
                       {"BOUND6", "ppp0", "0", "3fff:0:1::2", "128", "3fff:0:100::/56", "3fff::53 3fff::54",
                        "isp.example. second.example.", "-", "3fff::7b", "-", "3600", "7200", "1800", "2880", "-", "-",
                        "0"},
                       run};
