// The whole log of one load: every value, in order.

#include "params/prepare_parm.h"

#include "platform/device_test.h"

namespace {

using PrepareParmLogTest = DeviceTest;

// Log lines of one routine, without their prefix.
Lines said_by(const std::string& name)
{
    const std::string prefix = "[" + name + "][1234] ";
    Lines texts;
    for (const std::string& line : beginning_with(prefix, log_lines()))
        texts.push_back(line.substr(prefix.size()));
    return texts;
}

} // namespace

TEST_F(PrepareParmLogTest, logs_every_value_in_order)
{
    shell.output["wandataif.sh"] = "ppp0\n";
    shell.output["if2sect.sh ppp0"] = "wan7\n";
    shell.output["uboot_env --get --name serial"] = "S123\n";
    interfaces.by_name["br-lan"] = {.index = 2, .ip4 = "", .mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
    store.settings["product_class@system"] = "GW1";
    store.settings["ip6_gua_hostid@lan0"] = "stored";
    store.settings["add_static_route@system"] = "1";
    store.settings["num_extra_routes@system"] = "4";
    EXPECT_EQ(prepare_parm(test_tid), 1);

    EXPECT_EQ(said_by("prepare_parm"), (Lines{
                                           "ProductClass(system) is GW1",
                                           "SerialNumber is S123",
                                           "ip6_addr(lan0):",
                                           "ip6_prefix(lan0):",
                                           "ip6_pfxlen(lan0):0",
                                           "lan_ip6_gua_hostid(lan0):stored",
                                           "lan_ip6_gua_sid(lan0):0",
                                           "ip6_ula_eb(lan0):0",
                                           "ip6_ula_manual_gid(lan0):0",
                                           "ip6_ula_gid(lan0):",
                                           "ip6_ula_sid(lan0):000",
                                           "ip6_ula_hostid(lan0):",
                                           "ip6_ula_addr(lan0):",
                                           "lan_ip6_ula_prefer(lan0):0",
                                           "ip6_ula_valid(lan0):0",
                                           "[lan0] ip6_dns1(system):",
                                           "[lan0] ip6_dns2(system):",
                                           "wandataif is [ppp0]",
                                           "wan0_sect is [wan7]",
                                           "ip6_proto(wan7):dhcp",
                                           "ip6_duid(wan7):",
                                           "ip6_duid_type(wan7):0",
                                           "ip6_addr(wan7):",
                                           "ip6_prefix(wan7):",
                                           "ip6_pfxlen(wan7):0",
                                           "ip6_gateway(wan7):",
                                           "ip6_dns_primary(wan7):",
                                           "ip6_dns_secondary(wan7):",
                                           "ip6_dns(wan7):",
                                           "ip6_domain(wan7):",
                                           "ip6_dhcp6c_prefix_addr(system):",
                                           "ip6_dhcp6c_prefix_length(system):56",
                                           "ip6_tunnel_type(wan7):0",
                                           "ip6_6rd_ifname(wan7):6rd",
                                           "ip6_6to4_subnetid(wan7):0",
                                           "on-demand(wan7):0",
                                           "ip6_wan_ready(system):0",
                                           "ip4_wan_ready(system):0",
                                           "add_static_route(system):(1)",
                                           "num_extra_routes(system):4",
                                           "pre_routing_prefix(system):",
                                       }));
    EXPECT_EQ(said_by("prepare_parm_lan1"), (Lines{
                                                "ip6_addr(lan1):",
                                                "ip6_prefix(lan1):",
                                                "ip6_pfxlen(lan1):0",
                                                "lan1_ip6_gua_sid(lan1):0",
                                                "ip6_ula_eb(lan1):0",
                                                "ip6_ula_manual_gid(lan1):0",
                                                "ip6_ula_gid(lan1):",
                                                "ip6_ula_sid(lan1):000",
                                                "lan1_ip6_gua_hostid(lan1):0200:00FF:FE00:0000",
                                                "lan1_ip6_ula_hostid(lan1):0200:00FF:FE00:0000",
                                                "ip6_ula_addr(lan1):",
                                                "lan1_ip6_ula_prefer(lan1):0",
                                                "ip6_ula_valid(lan1):0",
                                                "[lan1] ip6_dns1(system):",
                                                "[lan1] ip6_dns2(system):",
                                            }));
}
