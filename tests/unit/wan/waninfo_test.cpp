#include "wan/waninfo.h"

#include "platform/device_test.h"

namespace {

constexpr char records_file[] = "/proc/net/if_flags6";
constexpr char global_address[] = "20010db8000100020211220000334455";
constexpr char link_local[] = "fe800000000000000211220000334455";
constexpr char router[] = "fe800000000000000000000000000001";

class WaninfoTest : public DeviceTest {
protected:
    WaninfoTest()
    {
        parm.wan_ifname = "ppp0";
        parm.wan_ip6_proto = "dhcp";
        parm.wan_ip6_duid = "00:03:00:01:00:11:22:33:44:55";
        parm.wan_ip6_duid_type = 3;
        shell.output[limit] = "3\n";
        shell.effect["ps | grep dhclient > /tmp/ps_dhcp6c_s.txt"] = [] { write_file("/tmp/ps_dhcp6c_s.txt", ""); };
    }

    static std::string record(const char* address, const char* scope, const char* probes, const char* flags,
                              const char* device = "ppp0")
    {
        return std::string(address) + " 05 40 " + scope + " 80 " + probes + " " + flags + " " + device + " " + router
               + "\n";
    }

    // The mode in which the client is started for these records, -1 when it is not.
    int mode_for(const std::string& records)
    {
        write_file(records_file, records);
        shell.lines.clear();
        store.changes.clear();
        EXPECT_EQ(waninfo_main(test_tid), 1);
        const Lines started = beginning_with("/usr/sbin/dhclient", shell.lines);
        if (started.size() != 1)
            return -1;
        const std::string& line = started[0];
        return line[line.find("stateless=") + 10] - '0';
    }

    static constexpr char limit[] = "cat /proc/sys/net/ipv6/conf/ppp0/router_solicitations";
};

} // namespace

TEST_F(WaninfoTest, reads_no_limit_from_another_folder)
{
    for (const char* const elsewhere : {"../../../../../etc", "a/b", ".", ".."}) {
        parm.wan_ifname = elsewhere;
        EXPECT_EQ(waninfo_main(test_tid), -1);
        EXPECT_EQ(log_lines().back(), std::string("[waninfo_main][1234] ") + elsewhere + " is no interface name.");
    }
    EXPECT_EQ(shell.lines, Lines{});
}

TEST_F(WaninfoTest, takes_a_limit_with_a_control_character_for_none)
{
    shell.output[limit] = "9\x01\n";
    EXPECT_EQ(mode_for(record(global_address, "00", "01", "00000000")), 0);
    EXPECT_EQ(log_lines()[0],
              "[waninfo_main][1234] router_solicitations holds a control character and counts as absent.");
}

TEST_F(WaninfoTest, takes_a_global_address_of_an_unmanaged_router)
{
    EXPECT_EQ(mode_for(record(global_address, "00", "01", "000000a0")), 1);
    EXPECT_EQ(store.changes, (Lines{"set ip6_addr@wan100=2001:db8:1:2:211:2200:33:4455", "set ip6_pfxlen@wan100=64",
                                    "set ip6_gateway@wan100=fe80::1", "set ip6_stateless@wan100=1",
                                    "set ip6_prefix@wan100=2001:db8:1:2::"}));
    EXPECT_EQ(beginning_with("vorn_syslog_cli", shell.lines),
              (Lines{"vorn_syslog_cli addEventCode -1 P001 2001:db8:1:2:211:2200:33:4455",
                     "vorn_syslog_cli addEventCode -1 P002 fe80::1"}));
}

TEST_F(WaninfoTest, records_nothing_of_a_link_local_address)
{
    EXPECT_EQ(mode_for(record(link_local, "20", "01", "00000020")), 1);
    EXPECT_EQ(store.changes, Lines{"set ip6_stateless@wan100=1"});
}

TEST_F(WaninfoTest, deletes_the_address_of_a_managed_router)
{
    EXPECT_EQ(mode_for(record(global_address, "00", "01", "00000060")), 0);
    EXPECT_EQ((Lines{shell.lines[1], shell.lines[2]}),
              (Lines{"/sbin/ifconfig ppp0 del 2001:db8:1:2:211:2200:33:4455/64",
                     "/usr/sbin/ip -6 route del 2001:db8:1:2:211:2200:33:4455/64 dev ppp0"}));
    EXPECT_EQ(store.changes, Lines{"set ip6_gateway@wan100=fe80::1"});
}

TEST_F(WaninfoTest, keeps_a_link_local_address_under_a_managed_router)
{
    EXPECT_EQ(mode_for(record(link_local, "20", "01", "000000e0")), 0);
    EXPECT_EQ(beginning_with("/sbin/ifconfig", shell.lines), Lines{});
    EXPECT_EQ(store.changes, Lines{"set ip6_gateway@wan100=fe80::1"});
}

TEST_F(WaninfoTest, is_stateful_without_an_advertisement)
{
    for (const char* const probes : {"00", "02", "03", "04"}) {
        EXPECT_EQ(mode_for(record(link_local, "20", probes, "80000010")), 0) << probes;
        EXPECT_EQ(store.changes, Lines{});
        const bool all_sent = std::string(probes) >= "03";
        EXPECT_EQ(
            beginning_with("[waninfo_main][1234] action=00000000, (WAN-side) No remote radvd", log_lines()).size(),
            all_sent ? std::string(probes) == "03" ? 1U : 2U : 0U);
    }
}

TEST_F(WaninfoTest, judges_the_first_record_of_the_wan_only)
{
    const std::string other = record(global_address, "00", "00", "00000060", "br-lan");
    EXPECT_EQ(
        mode_for(other + record(link_local, "20", "01", "00000020") + record(global_address, "00", "01", "00000020")),
        1);
    EXPECT_EQ(store.changes, Lines{"set ip6_stateless@wan100=1"});
    EXPECT_EQ(mode_for(record(link_local, "20", "01", "00000060") + record(global_address, "00", "01", "00000020")), 0);
    EXPECT_EQ(store.changes, Lines{"set ip6_gateway@wan100=fe80::1"});
}

TEST_F(WaninfoTest, refuses_another_protocol)
{
    parm.wan_ip6_proto = "static";
    EXPECT_EQ(waninfo_main(test_tid), -1);
    EXPECT_EQ(shell.lines, Lines{});
    EXPECT_EQ(beginning_with("[zel-ipv6 waninfo_main] return ERROR_INTERNAL , line:", console_lines()).size(), 1U);
}

TEST_F(WaninfoTest, refuses_an_unreadable_limit)
{
    shell.status[limit] = -1;
    EXPECT_EQ(waninfo_main(test_tid), -1);
    EXPECT_EQ(log_lines().back(), "[waninfo_main][1234] osSystem_GetOutput fail.");
}
