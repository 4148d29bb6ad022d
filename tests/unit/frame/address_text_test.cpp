#include "frame/address_text.h"

#include <arpa/inet.h>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

// "(none)" for null.
std::string address_in(std::string output)
{
    const char* const found = get_nslookup_addr(output.data());
    return found != nullptr ? found : "(none)";
}

std::string compressed(const std::string& text)
{
    char buffer[64] = {};
    text.copy(buffer, sizeof buffer - 1);
    EXPECT_EQ(compress_ip6_addr(buffer), buffer);
    EXPECT_LE(std::strlen(buffer), text.size());
    return buffer;
}

} // namespace

TEST(AddressTextTest, finds_the_first_address_of_a_name)
{
    EXPECT_EQ(address_in("Server:    192.0.2.53\nAddress 1: 192.0.2.53 dns\n\nName:      relay.example\n"
                         "Address 1: 198.51.100.7 relay.example\nAddress 2: 198.51.100.8 other\n"),
              "198.51.100.7");
}

TEST(AddressTextTest, ends_the_address_in_place)
{
    char output[] = "Name: x\nAddress 1: 192.0.2.1 x\n";
    EXPECT_EQ(get_nslookup_addr(output), output + 19);
    EXPECT_STREQ(output + 19, "192.0.2.1");
    EXPECT_STREQ(output + 29, "x\n");
}

TEST(AddressTextTest, finds_no_address_without_its_labels)
{
    EXPECT_EQ(address_in(""), "(none)");
    EXPECT_EQ(address_in("Address 1: 192.0.2.1 x\n"), "(none)");
    EXPECT_EQ(address_in("Address 1: 192.0.2.1 x\nName: x\n"), "(none)");
    EXPECT_EQ(address_in("Name: x\nAddress: 192.0.2.1 x\n"), "(none)");
    EXPECT_EQ(address_in("Name: x\nAddress 2: 192.0.2.1 x\n"), "(none)");
    EXPECT_EQ(address_in("Name: x\nAddress 1:"), "(none)");
}

TEST(AddressTextTest, finds_an_address_only_when_a_blank_follows)
{
    EXPECT_EQ(address_in("Name: x\nAddress 1: 192.0.2.1\n"), "(none)");
    EXPECT_EQ(address_in("Name: x\nAddress 1: 192.0.2.1"), "(none)");
    EXPECT_EQ(address_in("Name: x\nAddress 1: 192.0.2.1\tx\n"), "(none)");
    EXPECT_EQ(address_in("Name: x\nAddress 1: 192.0.2.1 "), "192.0.2.1");
}

TEST(AddressTextTest, finds_addresses_of_at_most_15_characters)
{
    EXPECT_EQ(address_in("Name: x\nAddress 1: 198.151.100.254 x\n"), "198.151.100.254");
    EXPECT_EQ(address_in("Name: x\nAddress 1: 1198.151.100.254 x\n"), "(none)");
}

TEST(AddressTextTest, takes_nothing_but_digits_and_dots)
{
    EXPECT_EQ(address_in("Name: x\nAddress 1: 2001:db8::1 x\n"), "(none)");
    EXPECT_EQ(address_in("Name: x\nAddress 1: relay x\n"), "(none)");
    EXPECT_EQ(address_in("Name: x\nAddress 1: -1 x\n"), "(none)");
}

TEST(AddressTextTest, takes_digits_and_dots_as_they_stand)
{
    EXPECT_EQ(address_in("Name: x\nAddress 1: 999..1 x\n"), "999..1");
    EXPECT_EQ(address_in("Name: x\nAddress 1:  x\n"), "");
}

TEST(AddressTextTest, looks_for_the_address_of_the_first_name_only)
{
    EXPECT_EQ(address_in("Name: a\nAddress 1: none x\nName: b\nAddress 1: 192.0.2.1 b\n"), "(none)");
}

TEST(AddressTextTest, shortens_an_address)
{
    EXPECT_EQ(compressed("2001:0db8:0000:0000:0000:0000:0000:0001"), "2001:db8::1");
    EXPECT_EQ(compressed("2001:0DB8:1234:5601:0000:0000:0000:0000"), "2001:db8:1234:5601::");
    EXPECT_EQ(compressed("0:0:0:0:0:0:0:0"), "::");
}

TEST(AddressTextTest, leaves_an_address_that_gets_no_shorter)
{
    EXPECT_EQ(compressed("2001:db8::1"), "2001:db8::1");
    EXPECT_EQ(compressed("2001:DB8::1"), "2001:DB8::1"); // as long as its canonical form
    EXPECT_EQ(compressed("::"), "::");
    EXPECT_EQ(compressed("::102:304"), "::102:304"); // its canonical form is as long
}

TEST(AddressTextTest, leaves_what_is_no_address)
{
    for (const char* const text : {"", "x", "2001:db8:::1", "192.0.2.1", "2001:db8::1/64", "12C::12345"})
        EXPECT_EQ(compressed(text), text);
}

TEST(AddressTextTest, shortens_to_the_canonical_form_whatever_the_groups)
{
    for (unsigned zeros = 0; zeros < 256; ++zeros) {
        std::string text;
        for (unsigned group = 0; group < 8; ++group)
            text += std::string(group != 0 ? ":" : "") + ((zeros >> group & 1U) != 0 ? "0000" : "00a1");
        in6_addr address = {};
        ASSERT_EQ(inet_pton(AF_INET6, text.c_str(), &address), 1);
        char canonical[INET6_ADDRSTRLEN];
        ASSERT_NE(inet_ntop(AF_INET6, &address, canonical, sizeof canonical), nullptr);
        EXPECT_EQ(compressed(text), canonical);
    }
}

TEST(AddressTextTest, reads_leading_numbers)
{
    EXPECT_EQ(to_int("64"), 64);
    EXPECT_EQ(to_int(" \t+7x"), 7);
    EXPECT_EQ(to_int("-1"), -1);
    EXPECT_EQ(to_int("010"), 10);
    EXPECT_EQ(to_int("0x10"), 0);
    EXPECT_EQ(to_int(""), 0);
    EXPECT_EQ(to_int("ff"), 0);
    EXPECT_EQ(to_int("2147483647"), INT_MAX);
    EXPECT_EQ(to_int("2147483648"), INT_MAX);
    EXPECT_EQ(to_int("-2147483649"), INT_MIN);
    EXPECT_EQ(to_int("99999999999999999999999"), INT_MAX);
    EXPECT_EQ(to_int("-99999999999999999999999"), INT_MIN);
}
