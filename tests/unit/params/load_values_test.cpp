#include "params/load_values.h"

#include "platform/device_test.h"

namespace {

class LoadValuesTest : public DeviceTest {
protected:
    // The id after the repair, as `key`@lan0 with the repair value "01".
    std::string repaired(const char* stored, const char* key = "ip6_gua_sid")
    {
        AddressText id;
        id = stored;
        repair_subnet_id(test_tid, "prepare_parm", "lan0", key, id, "01");
        return id.c_str();
    }
};

std::string widened(const char* text)
{
    AddressText id;
    id = text;
    widen_ula_subnet_id(id);
    return id.c_str();
}

} // namespace

TEST_F(LoadValuesTest, takes_a_setting_with_a_control_character_for_a_missing_one)
{
    store.settings["ip6_proto@wan100"] = "dhcp\n";
    Text<8> value;
    load_text(test_tid, "prepare_parm", "wan100", "ip6_proto", value, "ip6_proto", "static");
    EXPECT_STREQ(value, "static");
    EXPECT_EQ(log_lines(), (Lines{"[read_setting][1234] ip6_proto holds a control character and counts as absent.",
                                  "[prepare_parm][1234] ip6_proto(wan100):static"}));
}

TEST_F(LoadValuesTest, loads_a_text_and_logs_it)
{
    store.settings["ip6_addr@lan0"] = "2001:db8::1";
    AddressText value;
    load_text(test_tid, "prepare_parm", "lan0", "ip6_addr", value, "ip6_addr");
    EXPECT_STREQ(value, "2001:db8::1");
    EXPECT_EQ(log_lines(), Lines{"[prepare_parm][1234] ip6_addr(lan0):2001:db8::1"});
}

TEST_F(LoadValuesTest, loads_a_text_silently)
{
    AddressText value;
    value = "before";
    load_text(test_tid, "prepare_parm", "lan0", "ip6_addr", value, nullptr);
    EXPECT_STREQ(value, "");
    load_text(test_tid, "prepare_parm", "wan100", "ip6_proto", value, nullptr, "dhcp");
    EXPECT_STREQ(value, "dhcp");
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(LoadValuesTest, cuts_a_text_to_the_capacity)
{
    store.settings["ip6_proto@wan100"] = "dhcpdhcpdhcp";
    Text<8> value;
    load_text(test_tid, "prepare_parm", "wan100", "ip6_proto", value, nullptr);
    EXPECT_STREQ(value, "dhcpdhc");
}

TEST_F(LoadValuesTest, loads_a_number_and_logs_it)
{
    store.settings["ip6_pfxlen@lan0"] = "64";
    int value = -1;
    load_number(test_tid, "prepare_parm", "lan0", "ip6_pfxlen", value, "ip6_pfxlen");
    EXPECT_EQ(value, 64);
    load_number(test_tid, "prepare_parm", "system", "ip6_dhcp6c_prefix_length", value, "length", 56);
    EXPECT_EQ(value, 56);
    load_number(test_tid, "prepare_parm", "lan0", "missing", value, nullptr);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(log_lines(),
              (Lines{"[prepare_parm][1234] ip6_pfxlen(lan0):64", "[prepare_parm][1234] length(system):56"}));
}

TEST_F(LoadValuesTest, pads_a_short_subnet_id_silently)
{
    EXPECT_EQ(repaired(""), "0");
    EXPECT_EQ(repaired("5"), "05");
    EXPECT_EQ(repaired("x"), "0x");
    EXPECT_EQ(store.changes, Lines{});
    EXPECT_EQ(console_lines(), Lines{});
}

TEST_F(LoadValuesTest, keeps_a_subnet_id_of_two_characters)
{
    EXPECT_EQ(repaired("00"), "00");
    EXPECT_EQ(repaired("fF"), "fF");
    EXPECT_EQ(repaired("zz"), "zz");
    EXPECT_EQ(store.changes, Lines{});
    EXPECT_EQ(console_lines(), Lines{});
}

TEST_F(LoadValuesTest, resets_a_long_subnet_id_in_the_store_too)
{
    EXPECT_EQ(repaired("123"), "01");
    EXPECT_EQ(store.changes, Lines{"set ip6_gua_sid@lan0=01"});
    EXPECT_EQ(console_lines(),
              Lines{"[prepare_parm][1234] length of ip6_gua_sid@lan0 is incorrect, reset it to default 01"});
    EXPECT_EQ(repaired(std::string(45, 'f').c_str(), "ip6_ula_sid"), "01");
    EXPECT_EQ(console_lines().back(),
              "[prepare_parm][1234] length of ip6_ula_sid@lan0 is incorrect, reset it to default 01");
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(LoadValuesTest, widens_a_unique_local_subnet_id)
{
    EXPECT_EQ(widened("01"), "0001");
    EXPECT_EQ(widened("0"), "000");
    EXPECT_EQ(widened("0A"), "000A");
    EXPECT_EQ(widened(std::string(45, 'f').c_str()), "00" + std::string(43, 'f'));
}

TEST_F(LoadValuesTest, loads_a_bridge_s_mac)
{
    interfaces.by_name["br-lan1"] = {.index = 3, .ip4 = "", .mac = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}};
    LanSide lan = lan1();
    load_mac(lan);
    EXPECT_STREQ(parm.lan1_mac_addr, "00:1a:2b:3c:4d:5e");
    EXPECT_EQ(parm.lan1_mac, (MacOctets{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}));
    EXPECT_EQ(parm.lan_mac, MacOctets{});
}

TEST_F(LoadValuesTest, derives_the_host_ids_that_are_not_set_by_hand)
{
    parm.lan_mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    parm.lan_ip6_ula_manual_hostid = 1;
    parm.lan_ip6_ula_hostid = "::7";
    LanSide lan = lan0();
    derive_host_ids(test_tid, lan);
    EXPECT_STREQ(parm.lan_ip6_gua_hostid, "0211:22FF:FE33:4455");
    EXPECT_STREQ(parm.lan_ip6_ula_hostid, "::7");
    EXPECT_EQ(store.changes, Lines{"set ip6_gua_hostid@lan0=0211:22FF:FE33:4455"});
}
