#include "record_text.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <string>

namespace {

constexpr char link_local_line[] = "fe80000000000000021122fffe334455 03 40 20 80     eth1";

InterfaceState state_of(uint32_t flags, const char* router)
{
    InterfaceState state;
    state.index = 3;
    state.flags = flags;
    if (router != nullptr) {
        inet_pton(AF_INET6, router, &state.router);
        state.router_rank = 1;
    }
    return state;
}

std::string record_of(const char* text, const InterfaceState* state, unsigned long solicitations)
{
    const auto line = parse_address_line(text);
    if (!line)
        return "(refused)";
    char record[record_capacity];
    const size_t size = format_record(*line, state, solicitations, record);
    EXPECT_EQ(record[size], '\0');
    return {record, size};
}

} // namespace

TEST(RecordText, HasTheRouterOfAnAdvertisement)
{
    const InterfaceState state = state_of(0x800000f0, "fe80::1:2");
    EXPECT_EQ(record_of(link_local_line, &state, 2),
              "fe80000000000000021122fffe334455 03 40 20 80 02 800000f0 eth1 fe800000000000000000000000010002\n");
}

TEST(RecordText, HasNoRouterBeforeAnAdvertisement)
{
    const InterfaceState state = state_of(0x80000010, nullptr);
    EXPECT_EQ(record_of("20010db8000000000000000000000001 0a 40 00 c8 br-lan1", &state, 0),
              "20010db8000000000000000000000001 0a 40 00 c8 00 80000010 br-lan1 00000000000000000000000000000000\n");
}

TEST(RecordText, TheFlagsOfAnEarlierAdvertisementDoNotCount)
{
    const InterfaceState stale = state_of(0x800000c0, "fe80::1");
    EXPECT_EQ(record_of(link_local_line, &stale, 1),
              "fe80000000000000021122fffe334455 03 40 20 80 01 80000000 eth1 00000000000000000000000000000000\n");
}

TEST(RecordText, AnAdvertisementWithoutAKnownRouterDoesNotCount)
{
    const InterfaceState unknown = state_of(0x800000f0, nullptr);
    EXPECT_EQ(record_of(link_local_line, &unknown, 3),
              "fe80000000000000021122fffe334455 03 40 20 80 03 80000010 eth1 00000000000000000000000000000000\n");
}

TEST(RecordText, EachFlagGoesThrough)
{
    for (const uint32_t flags : {0x20u, 0x60u, 0xa0u, 0xe0u}) {
        const InterfaceState state = state_of(flags, "fe80::1");
        char expected[128];
        snprintf(expected, sizeof expected,
                 "fe80000000000000021122fffe334455 03 40 20 80 00 %08x eth1 fe800000000000000000000000000001\n", flags);
        EXPECT_EQ(record_of(link_local_line, &state, 0), expected);
    }
}

TEST(RecordText, AnUnknownInterfaceHasNothingToTell)
{
    EXPECT_EQ(record_of("00000000000000000000000000000001 01 80 10 80       lo", nullptr, 0),
              "00000000000000000000000000000001 01 80 10 80 00 00000000 lo 00000000000000000000000000000000\n");
}

TEST(RecordText, ColumnsKeepTheirTwoDigits)
{
    const InterfaceState state = state_of(0x80000000, nullptr);
    EXPECT_EQ(record_of(link_local_line, &state, 0xff).substr(45, 2), "ff");
    EXPECT_EQ(record_of(link_local_line, &state, 0x100).substr(45, 2), "ff");
    EXPECT_EQ(record_of(link_local_line, &state, ~0ul).substr(45, 2), "ff");
    EXPECT_EQ(record_of("fe80000000000000021122fffe334455 1a2 40 20 80 veth418", &state, 0),
              "fe80000000000000021122fffe334455 a2 40 20 80 00 80000000 veth418 00000000000000000000000000000000\n");
}

TEST(RecordText, IsReadBackColumnByColumn)
{
    const InterfaceState state = state_of(0x800000b0, "fe80::dead:beef");
    const std::string record = record_of(link_local_line, &state, 3);
    char address[8][5];
    char router[8][5];
    unsigned int index;
    unsigned int length;
    unsigned int scope;
    unsigned int address_flags;
    unsigned int probes;
    unsigned int flags;
    char interface[21];
    ASSERT_EQ(sscanf(record.c_str(),
                     "%4s%4s%4s%4s%4s%4s%4s%4s %02x %02x %02x %02x %02x %08x %20s %4s%4s%4s%4s%4s%4s%4s%4s\n",
                     address[0], address[1], address[2], address[3], address[4], address[5], address[6], address[7],
                     &index, &length, &scope, &address_flags, &probes, &flags, interface, router[0], router[1],
                     router[2], router[3], router[4], router[5], router[6], router[7]),
              23);
    EXPECT_STREQ(address[7], "4455");
    EXPECT_EQ(index, 3u);
    EXPECT_EQ(length, 64u);
    EXPECT_EQ(scope, 0x20u);
    EXPECT_EQ(address_flags, 0x80u);
    EXPECT_EQ(probes, 3u);
    EXPECT_EQ(flags, 0x800000b0u);
    EXPECT_STREQ(interface, "eth1");
    EXPECT_STREQ(router[0], "fe80");
    EXPECT_STREQ(router[6], "dead");
}

TEST(RecordText, OtherLinesAreNoAddresses)
{
    for (const char* const line :
         {"", "   ", "fe80 03 40 20 80 eth1", "fe80000000000000021122fffe33445g 03 40 20 80 eth1",
          "fe80000000000000021122fffe334455 03 40 20 80", "fe80000000000000021122fffe334455 xx 40 20 80 eth1",
          "fe80000000000000021122fffe334455 03 4 20 80 eth1", "fe80000000000000021122fffe334455 03 40 200 80 eth1",
          "fe80000000000000021122fffe334455 03 40 20 8z eth1",
          "fe80000000000000021122fffe334455 03 40 20 80 interface-of-21-bytes"})
        EXPECT_FALSE(parse_address_line(line)) << line;
}

TEST(Solicitations, AreTheSentMessagesOfTheirType)
{
    EXPECT_EQ(parse_solicitations("Icmp6OutType133                 \t3"), 3ul);
    EXPECT_EQ(parse_solicitations("Icmp6OutType133 4294967295"), 4294967295ul);
    EXPECT_EQ(parse_solicitations("Icmp6OutType143                 \t3"), std::nullopt);
    EXPECT_EQ(parse_solicitations("Icmp6InType133                  \t3"), std::nullopt);
    EXPECT_EQ(parse_solicitations("Icmp6OutType1330 3"), std::nullopt);
    EXPECT_EQ(parse_solicitations("Icmp6OutType133 x"), std::nullopt);
    EXPECT_EQ(parse_solicitations("Icmp6OutType133"), std::nullopt);
    EXPECT_EQ(parse_solicitations(""), std::nullopt);
}
