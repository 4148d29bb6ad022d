#include "params/lan_side.h"

#include "platform/device_test.h"

namespace {

using LanSideTest = DeviceTest;

} // namespace

TEST_F(LanSideTest, names_the_bridges_and_sections_from_the_start)
{
    EXPECT_STREQ(lan0().ifname, "br-lan");
    EXPECT_STREQ(lan0().sect, "lan0");
    EXPECT_STREQ(lan0().log_name, "lan");
    EXPECT_STREQ(lan1().ifname, "br-lan1");
    EXPECT_STREQ(lan1().sect, "lan1");
    EXPECT_STREQ(lan1().log_name, "lan1");
    EXPECT_STREQ(parm.wan_sect, "wan100");
}

TEST_F(LanSideTest, is_chosen_by_a_flag)
{
    EXPECT_EQ(lan_side(0).is_lan1, 0);
    EXPECT_EQ(lan_side(1).is_lan1, 1);
    EXPECT_EQ(lan_side(-1).is_lan1, 1);
    EXPECT_EQ(lan_side(2).is_lan1, 1);
}

TEST_F(LanSideTest, shows_the_fields_of_lan0)
{
    const LanSide lan = lan0();
    EXPECT_EQ(&lan.ifname, &parm.lan_ifname);
    EXPECT_EQ(&lan.sect, &parm.lan_sect);
    EXPECT_EQ(&lan.ip6_addr, &parm.lan_ip6_addr);
    EXPECT_EQ(&lan.ip6_prefix, &parm.lan_ip6_prefix);
    EXPECT_EQ(&lan.ip6_pfxlen, &parm.lan_ip6_pfxlen);
    EXPECT_EQ(&lan.ip6_gua_manual_hostid, &parm.lan_ip6_gua_manual_hostid);
    EXPECT_EQ(&lan.ip6_ula_manual_hostid, &parm.lan_ip6_ula_manual_hostid);
    EXPECT_EQ(&lan.ip6_gua_hostid, &parm.lan_ip6_gua_hostid);
    EXPECT_EQ(&lan.ip6_gua_sid, &parm.lan_ip6_gua_sid);
    EXPECT_EQ(&lan.ip6_ula_eb, &parm.lan_ip6_ula_eb);
    EXPECT_EQ(&lan.ip6_ula_manual_gid, &parm.lan_ip6_ula_manual_gid);
    EXPECT_EQ(&lan.ip6_pre_manual_gid, &parm.lan_ip6_pre_manual_gid);
    EXPECT_EQ(&lan.ip6_ula_gid, &parm.lan_ip6_ula_gid);
    EXPECT_EQ(&lan.ip6_ula_sid, &parm.lan_ip6_ula_sid);
    EXPECT_EQ(&lan.ip6_ula_hostid, &parm.lan_ip6_ula_hostid);
    EXPECT_EQ(&lan.ip6_ula_addr, &parm.lan_ip6_ula_addr);
    EXPECT_EQ(&lan.ip6_ula_prefer, &parm.lan_ip6_ula_prefer);
    EXPECT_EQ(&lan.ip6_ula_valid, &parm.lan_ip6_ula_valid);
    EXPECT_EQ(&lan.mac_addr, &parm.lan_mac_addr);
    EXPECT_EQ(&lan.mac, &parm.lan_mac);
}

TEST_F(LanSideTest, shows_the_fields_of_lan1)
{
    const LanSide lan = lan1();
    EXPECT_EQ(&lan.ifname, &parm.lan1_ifname);
    EXPECT_EQ(&lan.sect, &parm.lan1_sect);
    EXPECT_EQ(&lan.ip6_addr, &parm.lan1_ip6_addr);
    EXPECT_EQ(&lan.ip6_prefix, &parm.lan1_ip6_prefix);
    EXPECT_EQ(&lan.ip6_pfxlen, &parm.lan1_ip6_pfxlen);
    EXPECT_EQ(&lan.ip6_gua_manual_hostid, &parm.lan1_ip6_gua_manual_hostid);
    EXPECT_EQ(&lan.ip6_ula_manual_hostid, &parm.lan1_ip6_ula_manual_hostid);
    EXPECT_EQ(&lan.ip6_gua_hostid, &parm.lan1_ip6_gua_hostid);
    EXPECT_EQ(&lan.ip6_gua_sid, &parm.lan1_ip6_gua_sid);
    EXPECT_EQ(&lan.ip6_ula_eb, &parm.lan1_ip6_ula_eb);
    EXPECT_EQ(&lan.ip6_ula_manual_gid, &parm.lan1_ip6_ula_manual_gid);
    EXPECT_EQ(&lan.ip6_pre_manual_gid, &parm.lan1_ip6_pre_manual_gid);
    EXPECT_EQ(&lan.ip6_ula_gid, &parm.lan1_ip6_ula_gid);
    EXPECT_EQ(&lan.ip6_ula_sid, &parm.lan1_ip6_ula_sid);
    EXPECT_EQ(&lan.ip6_ula_hostid, &parm.lan1_ip6_ula_hostid);
    EXPECT_EQ(&lan.ip6_ula_addr, &parm.lan1_ip6_ula_addr);
    EXPECT_EQ(&lan.ip6_ula_prefer, &parm.lan1_ip6_ula_prefer);
    EXPECT_EQ(&lan.ip6_ula_valid, &parm.lan1_ip6_ula_valid);
    EXPECT_EQ(&lan.mac_addr, &parm.lan1_mac_addr);
    EXPECT_EQ(&lan.mac, &parm.lan1_mac);
}
