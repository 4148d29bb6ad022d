#include "wan/ra_record.h"

#include "platform/device_test.h"

namespace {

using RaRecordTest = DeviceTest;

// Every record of `text`, the columns that outlive a record included.
std::vector<RaRecord> records_of(std::string text, RaRecord record = {})
{
    std::vector<RaRecord> records;
    if (text.empty())
        return records;
    const Stream file(fmemopen(text.data(), text.size(), "r"));
    EXPECT_TRUE(file.is_open());
    while (read_ra_record(file, record))
        records.push_back(record);
    return records;
}

std::string line(const char* address, const char* columns, const char* router)
{
    return std::string(address) + " " + columns + " " + router + "\n";
}

constexpr char address[] = "20010db8000100020211220000334455";
constexpr char router[] = "fe800000000000000000000000000001";
constexpr char nobody[] = "00000000000000000000000000000000";

void set_groups(AddressGroups& groups, const char* const (&texts)[8])
{
    for (std::size_t i = 0; i < 8; ++i)
        copy_text(groups[i], sizeof groups[i], texts[i], std::strlen(texts[i]));
}

} // namespace

TEST_F(RaRecordTest, reads_every_column)
{
    const auto records = records_of(line(address, "05 40 20 c8 0a 000000e0     ppp0", router));
    ASSERT_EQ(records.size(), 1U);
    const RaRecord& r = records[0];
    EXPECT_STREQ(joined(r.address), "2001:0db8:0001:0002:0211:2200:0033:4455");
    EXPECT_EQ(r.index, 0x05U);
    EXPECT_EQ(r.plen, 0x40U);
    EXPECT_EQ(r.scope, 0x20U);
    EXPECT_EQ(r.address_flags, 0xC8U);
    EXPECT_EQ(r.if_probes, 0x0AU);
    EXPECT_EQ(r.if_flags6, 0xE0U);
    EXPECT_STREQ(r.devname, "ppp0");
    EXPECT_STREQ(joined(r.router), "fe80:0000:0000:0000:0000:0000:0000:0001");
}

TEST_F(RaRecordTest, reads_records_in_order)
{
    const auto records = records_of(line(address, "01 80 10 80 00 00000000 lo", nobody)
                                    + line(address, "02 40 00 80 03 80000010 eth1.7", router));
    ASSERT_EQ(records.size(), 2U);
    EXPECT_STREQ(records[0].devname, "lo");
    EXPECT_STREQ(records[1].devname, "eth1.7");
    EXPECT_EQ(records[1].if_flags6, 0x80000010U);
}

TEST_F(RaRecordTest, reads_nothing_at_the_end)
{
    EXPECT_EQ(records_of("\n").size(), 0U);
    EXPECT_EQ(records_of(" \n \n").size(), 0U);
    EXPECT_EQ(records_of(line(address, "01 80 10 80 00 00000000 lo", nobody) + "\n\n").size(), 1U);
}

TEST_F(RaRecordTest, passes_over_blank_lines)
{
    const std::string text = line(address, "01 80 10 80 00 00000000 lo", nobody);
    EXPECT_EQ(records_of("\n\n" + text + "\n" + text).size(), 2U);
}

TEST_F(RaRecordTest, cuts_long_columns_at_their_width)
{
    // The rest of a name above 20 characters is read as the router.
    const auto records = records_of(line(address, "05 40 20 c8 0a 000000e0 abcdefghijklmnopqrstuvwx", router));
    ASSERT_GE(records.size(), 1U);
    EXPECT_STREQ(records[0].devname, "abcdefghijklmnopqrst");
    EXPECT_STREQ(records[0].router[0], "uvwx");
}

TEST_F(RaRecordTest, takes_the_next_address_for_a_missing_router)
{
    const auto records = records_of(std::string(address) + " 05 40 20 c8 0a 000000e0 ppp0\n"
                                    + line("30010db8000100020211220000334455", "06 40 20 c8 0a 000000e0 ppp1", router));
    ASSERT_GE(records.size(), 1U);
    EXPECT_STREQ(records[0].devname, "ppp0");
    EXPECT_STREQ(joined(records[0].router), "3001:0db8:0001:0002:0211:2200:0033:4455");
}

TEST_F(RaRecordTest, keeps_the_router_of_the_record_before_a_short_last_line)
{
    RaRecord before;
    set_groups(before.router, {"fe80", "0000", "0000", "0000", "0000", "0000", "0000", "0009"});
    const auto records = records_of(std::string(address) + " 05 40 20 c8 0a 000000e0 ppp0\n", before);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_STREQ(joined(records[0].router), "fe80:0000:0000:0000:0000:0000:0000:0009");
}

TEST_F(RaRecordTest, passes_over_a_record_with_a_control_character)
{
    const std::string good = line(address, "05 40 20 c8 0a 000000e0 ppp0", router);
    for (const std::string& bad :
         {line("2001\x01"
               "db8000100020211220000334455",
               "05 40 20 c8 0a 000000e0 ppp0", router),
          line(address, "05 40 20 c8 0a 000000e0 ppp0\x1b", router),
          line(address, "05 40 20 c8 0a 000000e0 ppp0", "fe80000000000000000000000000000\x7f")}) {
        const std::size_t before = log_lines().size();
        EXPECT_EQ(records_of(bad + good + bad).size(), 1U);
        ASSERT_EQ(log_lines().size(), before + 2);
        EXPECT_EQ(log_lines().back(),
                  "[waninfo_main][1234] a record of if_flags6 holds a control character and counts as absent.");
    }
    // What a record that counts as absent said of the router is not kept either.
    RaRecord before;
    set_groups(before.router, {"fe80", "0000", "0000", "0000", "0000", "0000", "0000", "0009"});
    const auto records = records_of(line(address, "05 40 20 c8 0a 000000e0 \x01", router) + std::string(address)
                                        + " 05 40 20 c8 0a 000000e0 ppp0\n",
                                    before);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_STREQ(joined(records[0].router), "fe80:0000:0000:0000:0000:0000:0000:0009");
}

TEST_F(RaRecordTest, ends_on_any_text)
{
    EXPECT_EQ(records_of("garbage that is no record at all\n").size(), 0U);
    EXPECT_EQ(records_of(std::string(5000, 'z')).size(), 0U);
    EXPECT_EQ(records_of(address).size(), 0U);
}

TEST_F(RaRecordTest, knows_global_addresses_by_their_scope)
{
    for (unsigned scope = 0; scope < 256; ++scope) {
        RaRecord record;
        record.scope = scope;
        EXPECT_EQ(record.is_global(), scope < 0x10) << scope;
    }
}

TEST_F(RaRecordTest, knows_an_advertisement_by_three_flags)
{
    for (unsigned bit = 0; bit < 32; ++bit) {
        RaRecord record;
        record.if_flags6 = 1U << bit;
        EXPECT_EQ(record.has_advertisement(), bit == 5 || bit == 6 || bit == 7) << bit;
    }
    EXPECT_FALSE(RaRecord().has_advertisement());
}

TEST_F(RaRecordTest, has_a_router_once_one_was_read)
{
    EXPECT_FALSE(RaRecord().has_router());
    EXPECT_TRUE(records_of(line(address, "05 40 20 c8 0a 000000e0 ppp0", router))[0].has_router());
    EXPECT_TRUE(records_of(line(address, "05 40 20 c8 0a 000000e0 ppp0", nobody))[0].has_router());
}

TEST_F(RaRecordTest, joins_groups_to_four_columns_each)
{
    AddressGroups groups = {};
    EXPECT_STREQ(joined(groups), "    :    :    :    :    :    :    :    ");
    set_groups(groups, {"1", "22", "333", "4444", "a", "bb", "ccc", "dddd"});
    EXPECT_STREQ(joined(groups), "   1:  22: 333:4444:   a:  bb: ccc:dddd");
}

TEST_F(RaRecordTest, normalizes_to_the_canonical_text)
{
    AddressGroups groups = {};
    set_groups(groups, {"2001", "0DB8", "0000", "0000", "0000", "0000", "0000", "0001"});
    EXPECT_STREQ(normalized(groups), "2001:db8::1");
    set_groups(groups, {"0000", "0000", "0000", "0000", "0000", "0000", "0000", "0000"});
    EXPECT_STREQ(normalized(groups), "::");
    set_groups(groups, {"2001", "0db8", "1111", "2222", "3333", "4444", "5555", "6666"});
    EXPECT_STREQ(normalized(groups), "2001:db8:1111:2222:3333:4444:5555:6666");
}

TEST_F(RaRecordTest, leaves_groups_that_make_no_address_joined)
{
    AddressGroups groups = {};
    EXPECT_STREQ(normalized(groups), "    :    :    :    :    :    :    :    ");
    set_groups(groups, {"2001", "0db8", "zzzz", "0000", "0000", "0000", "0000", "0001"});
    EXPECT_STREQ(normalized(groups), "2001:0db8:zzzz:0000:0000:0000:0000:0001");
}
