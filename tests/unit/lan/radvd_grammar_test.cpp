#include "lan/radvd_grammar.h"

#include <gtest/gtest.h>
#include <string>

TEST(RadvdGrammarTest, takes_an_address_and_its_length_for_a_prefix)
{
    for (const char* const address : {"2001:db8::", "2001:0DB8:1234:5601::", "FD3e:41a2:09bc:0001::", "fe80::", "::"})
        EXPECT_TRUE(is_radvd_prefix(address, 64)) << address;
    for (const char* const address :
         {"", "x", "10.0.0.1", "::ffff:10.0.0.1", "::1", "2001:db8", "2001:0DB8:1234:5612C::", "2001:db8::%lo",
          "2001:db8::/64", " 2001:db8::", "-1::"})
        EXPECT_FALSE(is_radvd_prefix(address, 64)) << address;
    for (const int length : {0, 1, 64, 127, 128})
        EXPECT_TRUE(is_radvd_prefix("2001:db8::", length)) << length;
    for (const int length : {-1, 129, 2147483647})
        EXPECT_FALSE(is_radvd_prefix("2001:db8::", length)) << length;
}

TEST(RadvdGrammarTest, takes_digits_and_infinity_for_seconds)
{
    for (const char* const text :
         {"0", "1", "3600", "007", "4294967295", "1234567890123456789", "infinity", " 86400", "86400 "})
        EXPECT_TRUE(is_radvd_seconds(text)) << text;
    for (const char* const text :
         {"", " ", "-5", "+5", "5.0", "0x10", "1 2", "10h", "abc", "Infinity", "infinite", "on"})
        EXPECT_FALSE(is_radvd_seconds(text)) << text;
}

TEST(RadvdGrammarTest, takes_one_to_three_servers)
{
    for (const char* const list : {"2001:db8::1", "fe80::1", "ABCD::1", "1::", "1:2:3:4:5:6:7:8", " 2001:db8::1 ",
                                   "2001:db8::1  2001:db8::2", "2001:db8::1 2001:db8::2 2001:db8::3"})
        EXPECT_TRUE(is_radvd_server_list(list)) << list;
    for (const char* const list :
         {"", " ", "x", "10.0.0.1", "2001:db8::1 x", "x 2001:db8::1", "2001:db8::1,2001:db8::2", "2001:db8::1%lo",
          "2001:db8::1/64", "2001:db8:1:2:", "::1", "600", "2001:db8::1 2001:db8::2 2001:db8::3 2001:db8::4"})
        EXPECT_FALSE(is_radvd_server_list(list)) << list;
}

TEST(RadvdGrammarTest, takes_domains)
{
    for (const char* const list :
         {"isp.example", "isp.example second.example", "lan", "LAN", "a.", "on.", "prefix.example", "3com.example",
          "1a", "-a", "a-", "a..b", "AdvOnLink.example", "advonlink", "ON"})
        EXPECT_TRUE(is_radvd_domain_list(list)) << list;
    for (const char* const list : {"",
                                   " ",
                                   "a_b.example",
                                   "a/b",
                                   "a,b",
                                   "x'y",
                                   "(x)",
                                   "*",
                                   "!",
                                   "a@b",
                                   "a=b",
                                   "$(x)",
                                   "\xc3\xa9.example",
                                   "a:b",
                                   "1",
                                   "1.5",
                                   "10.0.0.1",
                                   "-1",
                                   ".",
                                   "on",
                                   "off",
                                   "low",
                                   "high",
                                   "medium",
                                   "prefix",
                                   "route",
                                   "interface",
                                   "infinity",
                                   "AdvOnLink",
                                   "RDNSS",
                                   "DNSSL",
                                   "clients",
                                   "isp.example on",
                                   "on isp.example"})
        EXPECT_FALSE(is_radvd_domain_list(list)) << list;
}

TEST(RadvdGrammarTest, takes_lists_of_any_length_to_their_end)
{
    std::string list = "a.example";
    for (int i = 0; i < 1000; ++i)
        list += " a.example";
    EXPECT_TRUE(is_radvd_domain_list(list.c_str()));
    EXPECT_FALSE(is_radvd_domain_list((list + " a_b").c_str()));
    EXPECT_FALSE(is_radvd_domain_list(std::string(128, 'a').c_str()));
}
