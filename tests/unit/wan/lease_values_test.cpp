#include "wan/lease_values.h"

#include "platform/device_test.h"

namespace {

using LeaseValuesTest = DeviceTest;

const Lines reset_of_the_wan = {
    "unset ip6_addr@wan100",          "unset ip6_prefix@wan100", "set ip6_pfxlen@wan100=0",
    "unset ip6_domain@wan100",        "unset ip6_dns@wan100",    "unset ip6_dns_primary@wan100",
    "unset ip6_dns_secondary@wan100", "set ip6_lease@wan100=0",  "set ip6_life@wan100=0",
    "set ip6_renew@wan100=0",         "set ip6_rebind@wan100=0", "unset ip6_sntp@wan100",
};

} // namespace

TEST_F(LeaseValuesTest, prefers_the_stored_prefix_by_default)
{
    EXPECT_EQ(prefix_mode(test_tid), PREFERRED_PREFIX);
    store.settings["ip6_dhcp6c_prefix_mode@system"] = "1";
    EXPECT_EQ(prefix_mode(test_tid), RANDOM_PREFIX);
    store.settings["ip6_dhcp6c_prefix_mode@system"] = "7";
    EXPECT_EQ(prefix_mode(test_tid), 7);
}

TEST_F(LeaseValuesTest, resets_the_lease_in_order)
{
    reset_wan_lease(test_tid, PREFERRED_PREFIX);
    EXPECT_EQ(store.changes, reset_of_the_wan);
}

TEST_F(LeaseValuesTest, removes_the_prefix_in_random_mode_only)
{
    Lines with_prefix = reset_of_the_wan;
    with_prefix.emplace_back("unset ip6_dhcp6c_prefix_addr@system");
    with_prefix.emplace_back("unset ip6_dhcp6c_prefix_length@system");
    reset_wan_lease(test_tid, RANDOM_PREFIX);
    EXPECT_EQ(store.changes, with_prefix);
    store.changes.clear();
    reset_wan_lease(test_tid, 2);
    EXPECT_EQ(store.changes, reset_of_the_wan);
}

TEST_F(LeaseValuesTest, keeps_the_servers_when_asked_to)
{
    reset_wan_domain_and_servers(test_tid, false);
    EXPECT_EQ(store.changes, Lines{"unset ip6_domain@wan100"});
}
