#include "params/prepare_parm.h"

#include "platform/device_test.h"

#include <algorithm>

namespace {

class PrepareParmTest : public DeviceTest {
protected:
    PrepareParmTest()
    {
        shell.output["wandataif.sh"] = "ppp0\n";
        shell.output["if2sect.sh ppp0"] = "wan100\n";
        shell.output["uboot_env --get --name serial"] = " S123\r\n";
        interfaces.by_name["br-lan"] = {.index = 2, .ip4 = "", .mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
        interfaces.by_name["br-lan1"] = {.index = 3, .ip4 = "", .mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x56}};
        store.settings["ip6_gua_sid@lan0"] = "01";
        store.settings["ip6_ula_sid@lan0"] = "01";
        store.settings["ip6_gua_sid@lan1"] = "02";
        store.settings["ip6_ula_sid@lan1"] = "02";
    }

    void load() { EXPECT_EQ(prepare_parm(test_tid), 1); }
};

const Lines derived_host_ids = {
    "set ip6_gua_hostid@lan1=0211:22FF:FE33:4456",
    "set ip6_ula_hostid@lan1=0211:22FF:FE33:4456",
    "set ip6_gua_hostid@lan0=0211:22FF:FE33:4455",
    "set ip6_ula_hostid@lan0=0211:22FF:FE33:4455",
};

bool was_logged(const std::string& line)
{
    const Lines lines = log_lines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

} // namespace

TEST_F(PrepareParmTest, gives_missing_keys_their_defaults)
{
    load();
    EXPECT_STREQ(parm.product_class, "");
    EXPECT_STREQ(parm.lan_ip6_addr, "");
    EXPECT_EQ(parm.lan_ip6_pfxlen, 0);
    EXPECT_STREQ(parm.delegate_prefix, "");
    EXPECT_EQ(parm.delegate_pfxlen, 56);
    EXPECT_EQ(parm.ip6_wan_ready, 0);
    EXPECT_EQ(parm.ip4_wan_ready, 0);
    EXPECT_STREQ(parm.wan_ip6_proto, "dhcp");
    EXPECT_EQ(parm.wan_ip6_duid_type, 0);
    EXPECT_EQ(parm.wan_ip6_pfxlen, 0);
    EXPECT_STREQ(parm.wan_ip6_tunnel_type, "0");
    EXPECT_STREQ(parm.wan_ip6_6rd_ifname, "6rd");
    EXPECT_STREQ(parm.wan_ip6_6to4_subnetid, "0");
    EXPECT_EQ(parm.wan_on_demand, 0);
}

TEST_F(PrepareParmTest, loads_the_system_values)
{
    store.settings["product_class@system"] = "GW1";
    store.settings["ip6_dns1@system"] = "2001:db8::53";
    store.settings["ip6_dns2@system"] = "2001:db8::54";
    store.settings["ip6_dhcp6c_prefix_addr@system"] = "2001:db8:1200::";
    store.settings["ip6_dhcp6c_prefix_length@system"] = "48";
    store.settings["ip6_wan_ready@system"] = "1";
    store.settings["ip4_wan_ready@system"] = "2";
    store.settings["add_static_route@system"] = "1";
    store.settings["num_extra_routes@system"] = "4";
    store.settings["ip6_pre_routing_prefix@system"] = "2001:0DB8:1234:56";
    load();
    EXPECT_STREQ(parm.product_class, "GW1");
    EXPECT_STREQ(parm.serial_number, "S123");
    EXPECT_STREQ(parm.ip6_dns1, "2001:db8::53");
    EXPECT_STREQ(parm.ip6_dns2, "2001:db8::54");
    EXPECT_STREQ(parm.delegate_prefix, "2001:db8:1200::");
    EXPECT_EQ(parm.delegate_pfxlen, 48);
    EXPECT_EQ(parm.ip6_wan_ready, 1);
    EXPECT_EQ(parm.ip4_wan_ready, 2);
    EXPECT_EQ(parm.add_static_route, 1);
    EXPECT_EQ(parm.num_extra_routes, 4);
    EXPECT_STREQ(parm.pre_routing_prefix, "2001:0DB8:1234:56");
}

TEST_F(PrepareParmTest, loads_the_wan_values_from_the_section_of_its_interface)
{
    shell.output["wandataif.sh"] = "eth1.7\n";
    shell.output["if2sect.sh eth1.7"] = "wan7\n";
    const char* const keys[] = {"proto",  "duid",          "addr", "prefix",      "gateway",    "dns_primary",
                                "domain", "dns_secondary", "dns",  "tunnel_type", "6rd_ifname", "6to4_subnetid"};
    for (const char* const key : keys) {
        store.settings["ip6_" + std::string(key) + "@wan7"] = "7";
        store.settings["ip6_" + std::string(key) + "@wan100"] = "100";
    }
    store.settings["ip6_duid_type@wan7"] = "3";
    store.settings["ip6_pfxlen@wan7"] = "64";
    store.settings["on-demand@wan7"] = "1";
    load();
    EXPECT_STREQ(parm.wan_ifname, "eth1.7");
    EXPECT_STREQ(parm.wan_sect, "wan7");
    EXPECT_STREQ(parm.wan_ip6_proto, "7");
    EXPECT_STREQ(parm.wan_ip6_duid, "7");
    EXPECT_STREQ(parm.wan_ip6_addr, "7");
    EXPECT_STREQ(parm.wan_ip6_prefix, "7");
    EXPECT_STREQ(parm.wan_ip6_gateway, "7");
    EXPECT_STREQ(parm.wan_ip6_dns_primary, "7");
    EXPECT_STREQ(parm.wan_ip6_dns_secondary, "7");
    EXPECT_STREQ(parm.wan_ip6_dns, "7");
    EXPECT_STREQ(parm.wan_ip6_domain, "7");
    EXPECT_STREQ(parm.wan_ip6_tunnel_type, "7");
    EXPECT_STREQ(parm.wan_ip6_6rd_ifname, "7");
    EXPECT_STREQ(parm.wan_ip6_6to4_subnetid, "7");
    EXPECT_EQ(parm.wan_ip6_duid_type, 3);
    EXPECT_EQ(parm.wan_ip6_pfxlen, 64);
    EXPECT_EQ(parm.wan_on_demand, 1);
}

TEST_F(PrepareParmTest, keeps_the_wan_section_when_it_cannot_be_asked_for)
{
    shell.status["if2sect.sh ppp0"] = -1;
    store.settings["ip6_addr@wan100"] = "2001:db8::1";
    load();
    EXPECT_STREQ(parm.wan_sect, "wan100");
    EXPECT_STREQ(parm.wan_ip6_addr, "2001:db8::1");
    EXPECT_TRUE(was_logged("[prepare_parm][1234] wan0_sect is [wan100]"));
}

TEST_F(PrepareParmTest, loads_both_lans_each_from_its_section)
{
    for (const std::string lan : {"lan0", "lan1"}) {
        const std::string number(1, lan.back());
        store.settings["ip6_addr@" + lan] = "2001:db8::1" + number;
        store.settings["ip6_prefix@" + lan] = "2001:db8::2" + number;
        store.settings["ip6_pfxlen@" + lan] = "6" + number;
        store.settings["ip6_ula_eb@" + lan] = "3" + number;
        store.settings["ip6_ula_gid@" + lan] = "4" + number;
        store.settings["ip6_ula_addr@" + lan] = "fd00::5" + number;
        store.settings["ip6_ula_prefer@" + lan] = "70" + number;
        store.settings["ip6_ula_valid@" + lan] = "80" + number;
    }
    load();
    EXPECT_STREQ(parm.lan_ip6_addr, "2001:db8::10");
    EXPECT_STREQ(parm.lan1_ip6_addr, "2001:db8::11");
    EXPECT_STREQ(parm.lan_ip6_prefix, "2001:db8::20");
    EXPECT_STREQ(parm.lan1_ip6_prefix, "2001:db8::21");
    EXPECT_EQ(parm.lan_ip6_pfxlen, 60);
    EXPECT_EQ(parm.lan1_ip6_pfxlen, 61);
    EXPECT_EQ(parm.lan_ip6_ula_eb, 30);
    EXPECT_EQ(parm.lan1_ip6_ula_eb, 31);
    EXPECT_STREQ(parm.lan_ip6_ula_gid, "40");
    EXPECT_STREQ(parm.lan1_ip6_ula_gid, "41");
    EXPECT_STREQ(parm.lan_ip6_ula_addr, "fd00::50");
    EXPECT_STREQ(parm.lan1_ip6_ula_addr, "fd00::51");
    EXPECT_EQ(parm.lan_ip6_ula_prefer, 700);
    EXPECT_EQ(parm.lan1_ip6_ula_prefer, 701);
    EXPECT_EQ(parm.lan_ip6_ula_valid, 800);
    EXPECT_EQ(parm.lan1_ip6_ula_valid, 801);
}

TEST_F(PrepareParmTest, derives_identifiers_from_the_macs_and_stores_them)
{
    load();
    EXPECT_STREQ(parm.lan_mac_addr, "00:11:22:33:44:55");
    EXPECT_STREQ(parm.lan1_mac_addr, "00:11:22:33:44:56");
    EXPECT_STREQ(parm.lan_ip6_lla, "fe80::0211:22FF:FE33:4455");
    EXPECT_STREQ(parm.lan_ip6_gua_hostid, "0211:22FF:FE33:4455");
    EXPECT_STREQ(parm.lan_ip6_ula_hostid, "0211:22FF:FE33:4455");
    EXPECT_STREQ(parm.lan1_ip6_gua_hostid, "0211:22FF:FE33:4456");
    EXPECT_STREQ(parm.lan1_ip6_ula_hostid, "0211:22FF:FE33:4456");
    EXPECT_EQ(store.changes, derived_host_ids);
}

TEST_F(PrepareParmTest, keeps_identifiers_that_are_set_by_hand)
{
    for (const std::string lan : {"lan0", "lan1"}) {
        store.settings["ip6_gua_manual_hostid@" + lan] = "1";
        store.settings["ip6_ula_manual_hostid@" + lan] = "2";
        store.settings["ip6_gua_hostid@" + lan] = "0:0:0:1";
        store.settings["ip6_ula_hostid@" + lan] = "0:0:0:2";
    }
    load();
    EXPECT_STREQ(parm.lan_ip6_gua_hostid, "0:0:0:1");
    EXPECT_STREQ(parm.lan_ip6_ula_hostid, "0:0:0:2");
    EXPECT_STREQ(parm.lan1_ip6_gua_hostid, "0:0:0:1");
    EXPECT_STREQ(parm.lan1_ip6_ula_hostid, "0:0:0:2");
    EXPECT_EQ(store.changes, Lines{});
}

TEST_F(PrepareParmTest, repairs_the_subnet_ids_of_both_lans)
{
    store.settings["ip6_gua_sid@lan0"] = "1";
    store.settings["ip6_ula_sid@lan0"] = "abc";
    store.settings["ip6_gua_sid@lan1"] = "123";
    store.settings["ip6_ula_sid@lan1"] = "0A";
    load();
    EXPECT_STREQ(parm.lan_ip6_gua_sid, "01");
    EXPECT_STREQ(parm.lan_ip6_ula_sid, "0001");
    EXPECT_STREQ(parm.lan1_ip6_gua_sid, "02");
    EXPECT_STREQ(parm.lan1_ip6_ula_sid, "000A");
    EXPECT_EQ(beginning_with("set ip6_gua_sid", store.changes), Lines{"set ip6_gua_sid@lan1=02"});
    EXPECT_EQ(beginning_with("set ip6_ula_sid", store.changes), Lines{"set ip6_ula_sid@lan0=01"});
}

TEST_F(PrepareParmTest, makes_zeros_of_missing_subnet_ids)
{
    store.settings.clear();
    load();
    EXPECT_STREQ(parm.lan_ip6_gua_sid, "0");
    EXPECT_STREQ(parm.lan_ip6_ula_sid, "000");
    EXPECT_STREQ(parm.lan1_ip6_gua_sid, "0");
    EXPECT_STREQ(parm.lan1_ip6_ula_sid, "000");
    EXPECT_EQ(store.changes, derived_host_ids);
}

TEST_F(PrepareParmTest, discards_the_hand_set_global_id_once_manual_mode_is_left)
{
    for (const std::string lan : {"lan0", "lan1"}) {
        store.settings["ip6_ula_gid@" + lan] = "3e:41a2:09bc";
        store.settings["ip6_pre_manual_gid@" + lan] = "1";
    }
    load();
    EXPECT_STREQ(parm.lan_ip6_ula_gid, "");
    EXPECT_STREQ(parm.lan1_ip6_ula_gid, "");
    EXPECT_EQ(beginning_with("set ip6_ula_gid", store.changes),
              (Lines{"set ip6_ula_gid@lan0=", "set ip6_ula_gid@lan1="}));
    EXPECT_EQ(beginning_with("ccfg_cli", shell.lines),
              (Lines{"ccfg_cli set ip6_pre_manual_gid@lan0=0", "ccfg_cli set ip6_pre_manual_gid@lan1=0"}));
    EXPECT_EQ(console_lines(),
              (Lines{"[prepare_parm][1234] \033[1;31m Auto_gid (1) \033[0m",
                     "[prepare_parm][1234] \033[1;31m set sid from manual to auto, empty the old ula gid \033[0m"}));
}

TEST_F(PrepareParmTest, keeps_the_global_id_unless_the_flag_is_exactly_one)
{
    for (const char* const before : {"0", "2", "-1", ""}) {
        store.settings["ip6_ula_gid@lan0"] = "3e:41a2:09bc";
        store.settings["ip6_pre_manual_gid@lan0"] = before;
        load();
        EXPECT_STREQ(parm.lan_ip6_ula_gid, "3e:41a2:09bc") << before;
    }
}

TEST_F(PrepareParmTest, notes_manual_mode_outside_the_transaction)
{
    store.settings["ip6_ula_manual_gid@lan0"] = "1";
    store.settings["ip6_ula_manual_gid@lan1"] = "1";
    store.settings["ip6_pre_manual_gid@lan0"] = "1";
    store.settings["ip6_pre_manual_gid@lan1"] = "1";
    store.settings["ip6_ula_gid@lan0"] = "3e:41a2:09bc";
    load();
    EXPECT_STREQ(parm.lan_ip6_ula_gid, "3e:41a2:09bc");
    EXPECT_EQ(parm.lan_ip6_pre_manual_gid, 0);
    EXPECT_EQ(parm.lan1_ip6_pre_manual_gid, 0);
    EXPECT_EQ(beginning_with("ccfg_cli", shell.lines),
              (Lines{"ccfg_cli set ip6_pre_manual_gid@lan0=1", "ccfg_cli set ip6_pre_manual_gid@lan1=1"}));
    EXPECT_EQ(console_lines(), Lines{});
    EXPECT_EQ(store.changes, derived_host_ids);
}

TEST_F(PrepareParmTest, counts_extra_routes_only_when_there_are_some)
{
    store.settings["num_extra_routes@system"] = "4";
    load();
    EXPECT_EQ(parm.num_extra_routes, 0);
    EXPECT_TRUE(was_logged("[prepare_parm][1234] add_static_route(system):(0)"));
    EXPECT_FALSE(was_logged("[prepare_parm][1234] num_extra_routes(system):0"));
    EXPECT_FALSE(was_logged("[prepare_parm][1234] num_extra_routes(system):4"));
}

TEST_F(PrepareParmTest, goes_on_without_macs_and_answers)
{
    interfaces.by_name.clear();
    shell.status["wandataif.sh"] = -1;
    shell.status["uboot_env --get --name serial"] = -1;
    load();
    EXPECT_STREQ(parm.lan_mac_addr, "");
    EXPECT_STREQ(parm.lan_ip6_lla, "fe80::0200:00FF:FE00:0000");
    EXPECT_STREQ(parm.wan_ifname, "");
    EXPECT_STREQ(parm.serial_number, "");
}
