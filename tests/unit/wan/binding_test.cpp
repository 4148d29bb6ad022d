#include "wan/binding.h"

#include "platform/device_test.h"
#include "wan/lease_values.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

class BindingTest : public DeviceTest {
protected:
    ~BindingTest() override
    {
        for (const std::string& variable : variables)
            unsetenv(variable.c_str());
    }

    void give(const std::string& variable, const std::string& value)
    {
        variables.push_back(variable);
        setenv(variable.c_str(), value.c_str(), 1);
    }

    // The changes of one binding except the ones that every stateful binding without an address makes.
    Lines bind(int mode = PREFERRED_PREFIX)
    {
        store.changes.clear();
        EXPECT_EQ(store_binding(test_tid, ClientEvent(), mode), 0);
        Lines changes = store.changes;
        changes.erase(std::remove(changes.begin(), changes.end(), "set ip6_stateless@wan100=1"), changes.end());
        return changes;
    }

    Lines variables;
};

constexpr char unchanged[] = "set ip6_changed@wan100=0";
constexpr char changed[] = "set ip6_changed@wan100=1";

} // namespace

TEST_F(BindingTest, changes_nothing_without_values)
{
    EXPECT_EQ(bind(), Lines{unchanged});
    EXPECT_EQ(log_lines().back(), "[dhcp6c_main][1234] ip6_changed = 0");
}

TEST_F(BindingTest, stores_a_whole_lease)
{
    give("stateless", "0");
    give("new_dhcp6_domain_search", "isp.example. second.example.");
    give("new_dhcp6_sntp_servers", "2001:db8::123");
    give("new_dhcp6_name_servers", "2001:db8::53 2001:db8::54 2001:db8::55");
    give("new_preferred_life", "3600");
    give("new_max_life", "7200");
    give("new_renew", "1800");
    give("new_rebind", "2880");
    give("new_ip6_prefix", "2001:db8:1200::/48");
    give("new_ip6_address", "2001:db8::5");
    give("new_ip6_prefixlen", "128");
    const Lines lease = {
        "set ip6_domain@wan100=isp.example. second.example",
        "set ip6_sntp@wan100=2001:db8::123",
        "set ip6_dns_primary@wan100=2001:db8::53",
        "set ip6_dns_secondary@wan100=2001:db8::54",
        "set ip6_dns@wan100=2001:db8::53 2001:db8::54 2001:db8::55",
        "set ip6_lease@wan100=3600",
        "set ip6_dhcp_prefer@lan0=3600",
        "set ip6_life@wan100=7200",
        "set ip6_dhcp_valid@lan0=7200",
        "set ip6_renew@wan100=1800",
        "set ip6_rebind@wan100=2880",
        "set ip6_dhcp6c_prefix_addr@system=2001:db8:1200::",
        "set ip6_dhcp6c_prefix_length@system=48",
        "set ip6_addr@wan100=2001:db8::5",
        "set ip6_pfxlen@wan100=128",
        "set ip6_stateless@wan100=0",
        changed,
    };
    EXPECT_EQ(bind(), lease);
    EXPECT_EQ(shell.lines, (Lines{"vorn_syslog_cli addEventCode -1 P007 \"2001:db8::53 2001:db8::54 2001:db8::55\"",
                                  "vorn_syslog_cli addEventCode -1 P005 2001:db8:1200::/48"}));
    EXPECT_STREQ(parm.wan_ip6_addr, "2001:db8::5");
    EXPECT_EQ(parm.wan_ip6_pfxlen, 128);
    EXPECT_STREQ(parm.delegate_prefix, "2001:db8:1200::");
    EXPECT_EQ(parm.delegate_pfxlen, 48);

    // The same lease again changes nothing.
    EXPECT_EQ(bind(), (Lines{"set ip6_dns@wan100=2001:db8::53 2001:db8::54 2001:db8::55", "set ip6_stateless@wan100=0",
                             unchanged}));
}

TEST_F(BindingTest, drops_one_dot_behind_a_domain)
{
    const std::pair<const char*, const char*> domains[] = {
        {"a.example.", "a.example"}, {"a.", "a"}, {".", "."}, {"..", "."}, {"a.example", "a.example"}};
    for (const auto& [given, stored] : domains) {
        store.settings.erase("ip6_domain@wan100");
        give("new_dhcp6_domain_search", given);
        EXPECT_EQ(bind(), (Lines{std::string("set ip6_domain@wan100=") + stored, changed}));
    }
}

TEST_F(BindingTest, takes_the_domain_name_without_a_search_list)
{
    give("new_dhcp6_domain_name", "name.example.");
    EXPECT_EQ(bind(), (Lines{"set ip6_domain@wan100=name.example", changed}));
    give("new_dhcp6_domain_search", "search.example");
    EXPECT_EQ(bind(), (Lines{"set ip6_domain@wan100=search.example", changed}));
}

TEST_F(BindingTest, takes_advertised_servers_without_any_of_the_lease)
{
    write_file("/tmp/rdnssd", "nameserver 2001:db8::53\n");
    EXPECT_EQ(bind(), (Lines{"set ip6_dns_primary@wan100=2001:db8::53", unchanged}));
}

TEST_F(BindingTest, takes_one_server)
{
    give("new_dhcp6_name_servers", "2001:db8::53");
    store.settings["ip6_dns_secondary@wan100"] = "2001:db8::99";
    EXPECT_EQ(bind(), (Lines{"set ip6_dns_primary@wan100=2001:db8::53", "set ip6_dns@wan100=2001:db8::53", changed}));
    EXPECT_EQ(log_lines().at(4),
              "[dhcp6c_main][1234] @@dns = 2001:db8::53, pri_namesvr = 2001:db8::53, snd_namesvr = ");
}

TEST_F(BindingTest, keeps_a_random_prefix_in_the_process)
{
    give("new_ip6_prefix", "2001:db8:1200::/48");
    EXPECT_EQ(bind(RANDOM_PREFIX), Lines{unchanged});
    EXPECT_STREQ(parm.delegate_prefix, "2001:db8:1200::");
    EXPECT_EQ(parm.delegate_pfxlen, 48);
    EXPECT_EQ(shell.lines, Lines{"vorn_syslog_cli addEventCode -1 P005 2001:db8:1200::/48"});
    EXPECT_EQ(beginning_with("[dhcp6c_main][1234] mode", console_lines()),
              Lines{"[dhcp6c_main][1234] mode:random, delegate_pfxlen = 48 "});
}

TEST_F(BindingTest, stores_only_the_part_of_a_prefix_that_changed)
{
    store.settings["ip6_dhcp6c_prefix_addr@system"] = "2001:db8:1200::";
    store.settings["ip6_dhcp6c_prefix_length@system"] = "48";
    parm.delegate_prefix = "loaded";
    parm.delegate_pfxlen = 1;
    give("new_ip6_prefix", "2001:db8:1200::/56");
    EXPECT_EQ(bind(), (Lines{"set ip6_dhcp6c_prefix_length@system=56", changed}));
    EXPECT_STREQ(parm.delegate_prefix, "loaded");
    give("new_ip6_prefix", "2001:db8:1300::/56");
    EXPECT_EQ(bind(), (Lines{"set ip6_dhcp6c_prefix_addr@system=2001:db8:1300::", changed}));
}

TEST_F(BindingTest, takes_56_for_a_missing_length_and_nothing_without_a_slash)
{
    give("new_ip6_prefix", "2001:db8:1200::");
    EXPECT_EQ(bind(), Lines{unchanged});
    EXPECT_EQ(shell.lines, Lines{});
    give("new_ip6_prefix", "2001:db8:1200::/");
    EXPECT_EQ(bind(), (Lines{"set ip6_dhcp6c_prefix_addr@system=2001:db8:1200::",
                             "set ip6_dhcp6c_prefix_length@system=56", changed}));
}

TEST_F(BindingTest, takes_64_for_a_missing_length_of_the_address)
{
    give("new_ip6_address", "2001:db8::5");
    EXPECT_EQ(bind(), (Lines{"set ip6_addr@wan100=2001:db8::5", "set ip6_pfxlen@wan100=64",
                             "set ip6_stateless@wan100=0", changed}));
}

TEST_F(BindingTest, touches_no_address_of_a_stateless_wan)
{
    give("stateless", "1");
    give("new_ip6_address", "2001:db8::5");
    EXPECT_EQ(bind(), Lines{unchanged});
    EXPECT_EQ(store.value("ip6_stateless@wan100"), "(missing)");
}

TEST_F(BindingTest, takes_hostile_values_as_absent)
{
    give("new_ip6_address", "2001:db8::5\nip6_addr=x");
    give("new_dhcp6_domain_search", "a.example\t");
    EXPECT_EQ(bind(), Lines{unchanged});
}

TEST_F(BindingTest, cuts_values_to_their_room)
{
    const std::string text(300, 'a');
    give("new_dhcp6_domain_search", text);
    give("new_dhcp6_name_servers", text);
    give("new_ip6_address", text);
    bind();
    EXPECT_EQ(store.value("ip6_domain@wan100"), text.substr(0, 127));
    EXPECT_EQ(store.value("ip6_dns_primary@wan100"), text.substr(0, 45));
    EXPECT_EQ(store.value("ip6_dns@wan100"), text.substr(0, 255));
    EXPECT_EQ(store.value("ip6_addr@wan100"), text.substr(0, 45));
}
