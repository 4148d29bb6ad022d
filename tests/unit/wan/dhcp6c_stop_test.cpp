#include "platform/device_test.h"
#include "wan/dhcp6c.h"

namespace {

constexpr char list_clients[] = "ps | grep dhclient > /tmp/ps_dhcp6c.txt";
constexpr char lease[] = "/tmp/dhcp6c-wan.leases";

class Dhcp6cStopTest : public DeviceTest {
protected:
    Dhcp6cStopTest()
    {
        parm.wan_sect = "wan100";
        parm.wan_ifname = "eth0";
        write_file("/var/run/dhcp6c-wan.pid", "321\n");
        write_file(lease, "lease6 {}\n");
        shell.effect[list_clients] = [] {
            write_file("/tmp/ps_dhcp6c.txt",
                       "  321 root 1000 /usr/sbin/dhclient -6 -N -P -e stateless=0 -cf /tmp/dhcp6c-wan.conf eth0\n");
        };
    }

    // Each argument of the running client is kept to seven characters.
    std::string stop_line(const std::string& how) const
    {
        return "/usr/sbin/dhclient " + how
               + " -6 -N -P -e statele -cf /tmp/dhcp6c-wan.conf -sf /usr/sbin/zel_dhcp6c_update -lf "
                 "/tmp/dhcp6c-wan.leases -pf /var/run/dhcp6c-wan.pid eth0 &";
    }
};

} // namespace

TEST_F(Dhcp6cStopTest, gives_the_lease_back_and_forgets_it)
{
    EXPECT_EQ(stop_dhcp6c(test_tid), 1);
    EXPECT_EQ(shell.lines.back(), stop_line("-r"));
    EXPECT_FALSE(file_exists(lease));
    EXPECT_FALSE(file_exists("/var/run/dhcp6c-wan.pid"));
}

TEST_F(Dhcp6cStopTest, keeps_the_lease_when_the_next_start_is_to_rebind)
{
    store.settings["ip6_dhcp6c_rebind_instead_of_solicit@wan100"] = "1";
    EXPECT_EQ(stop_dhcp6c(test_tid), 1);
    EXPECT_EQ(shell.lines.back(), stop_line("-x"));
    EXPECT_TRUE(file_exists(lease));
    EXPECT_FALSE(file_exists("/var/run/dhcp6c-wan.pid"));
}
