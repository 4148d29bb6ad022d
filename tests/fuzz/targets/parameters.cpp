// A whole parameter load from a store that holds anything, and everything that the parameters then flow into.
#include <array>

#include "addr/start_ipv6.h"
#include "lan/start_ipv6_lan.h"
#include "params/prepare_parm.h"
#include "platform/config_store.h"
#include "support/device.h"
#include "wan/dhcp6c.h"

namespace {

// In the order of the fields; "@wan" is the WAN's section.
constexpr std::array keys = {
    "ip6_gua_sid@lan0",
    "ip6_gua_sid@lan1",
    "ip6_ula_sid@lan0",
    "ip6_ula_sid@lan1",
    "ip6_addr@lan0",
    "ip6_prefix@lan0",
    "ip6_pfxlen@lan0",
    "ip6_gua_manual_hostid@lan0",
    "ip6_gua_hostid@lan0",
    "ip6_ula_manual_hostid@lan0",
    "ip6_ula_hostid@lan0",
    "ip6_ula_eb@lan0",
    "ip6_ula_manual_gid@lan0",
    "ip6_ula_gid@lan0",
    "ip6_ula_addr@lan0",
    "ip6_ula_addra@lan0",
    "ip6_ula_prefer@lan0",
    "ip6_ula_valid@lan0",
    "ip6_ula_eb@lan1",
    "ip6_ula_manual_hostid@lan1",
    "ip6_ula_hostid@lan1",
    "ip6_ula_manual_gid@lan1",
    "ip6_ula_gid@lan1",
    "ip6_ula_addr@lan1",
    "ip6_addr@lan1",
    "ip6_prefix@lan1",
    "ip6_dns1@system",
    "ip6_dns2@system",
    "product_class@system",
    "ip6_dhcp6c_prefix_addr@system",
    "ip6_dhcp6c_prefix_length@system",
    "ip6_pre_routing_prefix@system",
    "ip6_extra_sid@system",
    "add_static_route@system",
    "ip6_proto@wan100",
    "ip6_duid@wan100",
    "ip6_duid_type@wan100",
    "ip6_addr@wan100",
    "ip6_prefix@wan100",
    "ip6_pfxlen@wan100",
    "ip6_gateway@wan100",
    "ip6_dns_primary@wan100",
    "ip6_dns_secondary@wan100",
    "ip6_domain@wan100",
    "ip6_lease@wan100",
    "ip6_life@wan100",
    "mtu@wan100",
    "ip6_dhcp_valid@lan0",
    "ip6_dhcp_prefer@lan0",
    "ip6_dhcp_renew@lan0",
    "ip6_dhcp_rebind@lan0",
    "ip6_dhcp_pref@lan0",
    "on-demand@wan100",
};

void run(const Fields& fields)
{
    start_device();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (fields[i] != "-") // missing, which is not the same as empty
            set_setting(keys[i], as_text(fields[i]));
    }
    shell_recorder().output["uboot_env --get --name serial"] = as_text(fields[keys.size()]);
    shell_recorder().effect["ps | grep dhclient > /tmp/ps_dhcp6c_s.txt"] = [] {
        write_file("/tmp/ps_dhcp6c_s.txt", "");
    };
    run_program([] {
        prepare_parm(test_tid);
        start_dhcp6c(test_tid, ASK_ADDR_INFO);
        start_ipv6_wan(test_tid);
        start_ipv6_lan(test_tid);
    });
    // A second invocation finds what the first one stored.
    run_program([] {
        parm = {};
        prepare_parm(test_tid);
        start_ipv6_lan(test_tid);
    });
}

} // namespace

const Target target = {'\0',
                       {"01",       "02",
                        "01",       "02",
                        "",         "",
                        "64",       "0",
                        "",         "0",
                        "",         "1",
                        "0",        "",
                        "",         "",
                        "0",        "0",
                        "1",        "0",
                        "",         "0",
                        "",         "",
                        "",         "",
                        "",         "",
                        "HGW",      "3fff:0:100::",
                        "56",       "",
                        "",         "0",
                        "dhcp",     "",
                        "3",        "3fff:0:1::2",
                        "",         "64",
                        "fe80::1",  "3fff::53",
                        "3fff::54", "isp.example",
                        "3600",     "7200",
                        "1492",     "7200",
                        "3600",     "1800",
                        "2880",     "7",
                        "0",        "SN12345678"},
                       run};
