#include "lan/dhcpd_grammar.h"

#include <gtest/gtest.h>
#include <string>

TEST(DhcpdGrammarTest, takes_decimal_and_octal_numbers)
{
    for (const char* const text : {"0", "1", "3600", "-5", "007", "4294967296", "123456789012345", " 77", "77 "})
        EXPECT_TRUE(is_dhcpd_number(text)) << text;
    for (const char* const text :
         {"", " ", "-", "+5", "abc", "08", "-09", "1.5", "1 2", "3600,1", "1e3", "infinity", "infinite", "--1", "7h"})
        EXPECT_FALSE(is_dhcpd_number(text)) << text;
}

TEST(DhcpdGrammarTest, takes_infinite_for_a_lease_time)
{
    for (const char* const text : {"infinite", "3600", "-5", " infinite "})
        EXPECT_TRUE(is_dhcpd_lease_time(text)) << text;
    for (const char* const text : {"", " ", "infinity", "Infinite", "infinite 1", "08"})
        EXPECT_FALSE(is_dhcpd_lease_time(text)) << text;
}

TEST(DhcpdGrammarTest, takes_one_octet_for_a_preference)
{
    for (const char* const text : {"0", "77", "255", "010"})
        EXPECT_TRUE(is_dhcpd_octet(text)) << text;
    for (const char* const text : {"", "-1", "256", "4294967296", "99999999999999", "x", "08"})
        EXPECT_FALSE(is_dhcpd_octet(text)) << text;
}

TEST(DhcpdGrammarTest, takes_an_address_and_its_length_for_a_subnet)
{
    for (const char* const address : {"2001:db8::", "fd3e:41a2:09bc:0001::", "::", "::ffff:1.2.3.4", "2001:db8::1"})
        EXPECT_TRUE(is_dhcpd_subnet(address, 64)) << address;
    for (const char* const address : {"", "x", "1.2.3.4", "2001:0DB8:1234:5612C::", "fdx:1::", " 2001:db8::", "::/64"})
        EXPECT_FALSE(is_dhcpd_subnet(address, 64)) << address;
    EXPECT_TRUE(is_dhcpd_subnet("2001:db8::", 0));
    EXPECT_TRUE(is_dhcpd_subnet("2001:db8::", 128));
    EXPECT_FALSE(is_dhcpd_subnet("2001:db8::", -1));
    EXPECT_FALSE(is_dhcpd_subnet("2001:db8::", 129));
}

TEST(DhcpdGrammarTest, takes_servers_parted_by_commas)
{
    for (const char* const list : {"::1", "2001:db8::1,2001:db8::2", "2001:db8::1, 2001:db8::2", "::ffff:1.2.3.4"})
        EXPECT_TRUE(is_dhcpd_server_list(list)) << list;
    for (const char* const list : {"", " ", ",", "x", "10.0.0.1", "2001:db8::1,", ",2001:db8::1", "2001:db8::1,x",
                                   "2001:db8::1 2001:db8::2", "isp.example", "2001:db8:1:2:", "fe80::1%lo"})
        EXPECT_FALSE(is_dhcpd_server_list(list)) << list;
}

TEST(DhcpdGrammarTest, takes_domains_of_labels_that_fit)
{
    const std::string longest(63, 'a');
    for (const std::string& text :
         {std::string("isp.example"), std::string("isp.example second.example"), std::string("a_b"),
          std::string("a.b."), std::string("x'y"), std::string("a b"), longest, longest + "." + longest})
        EXPECT_TRUE(is_dhcpd_domain(text.c_str())) << text;
    for (const std::string& text : {std::string(""), std::string("."), std::string("a..b"), std::string("a.."),
                                    std::string(".a"), longest + "a", "a." + longest + "a"})
        EXPECT_FALSE(is_dhcpd_domain(text.c_str())) << text;
}
