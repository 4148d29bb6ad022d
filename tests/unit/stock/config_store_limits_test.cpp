#include "overlay.h"
#include "store_fixture.h"

namespace {

const std::string longest_name(63, 'n');
const std::string longest_value(1023, 'v');

class ConfigStoreLimits : public StoreTest {
protected:
    int tid = tesa_start_transc();
    ~ConfigStoreLimits() override { tesa_end_transc(tid); }
};

} // namespace

TEST_F(ConfigStoreLimits, TheLongestNamesAndValueAreKept)
{
    EXPECT_EQ(tesa_ccfg_set_str(tid, longest_name.c_str(), longest_name.c_str(), longest_value.c_str()), 0);
    EXPECT_EQ(tesa_ccfg_set_str(tid, "az.AZ_09-", ".-_", "\x20\x7e\xc3\xa9\xff"), 0);
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(listed(),
              ".-_@az.AZ_09-=\x20\x7e\xc3\xa9\xff\n" + longest_name + "@" + longest_name + "=" + longest_value + "\n");
}

TEST_F(ConfigStoreLimits, ABadNameIsRefusedWithAMessageAndNothingChanges)
{
    const std::string too_long(64, 'n');
    const char* const names[] = {"", too_long.c_str(), "a b", "a@b", "a=b", "a/b", "a\n", "\xc3\xa9", nullptr};
    for (const char* const name : names) {
        const std::string said = errors_of([&] {
            EXPECT_EQ(tesa_ccfg_set_str(tid, name, "key", "1"), -1);
            EXPECT_EQ(tesa_ccfg_set_str(tid, "sect", name, "1"), -1);
            EXPECT_EQ(tesa_ccfg_set_long(tid, name, "key", 1), -1);
            EXPECT_EQ(tesa_ccfg_unset(tid, name, "key"), -1);
        });
        EXPECT_NE(said.find("key and section must each be 1 to 63 characters of A-Za-z0-9_.-\n"), said.npos) << said;
        EXPECT_EQ(get(tid, name, "key"), "(missing)");
    }
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(listed(), "");
}

TEST_F(ConfigStoreLimits, ABadValueIsRefusedWithAMessageAndTheOldOneStays)
{
    ASSERT_EQ(tesa_ccfg_set_str(tid, "lan0", "a", "old"), 0);
    const std::string too_long(1024, 'v');
    EXPECT_EQ(errors_of([&] { EXPECT_EQ(tesa_ccfg_set_str(tid, "lan0", "a", too_long.c_str()), -1); }),
              "ccfg: cannot set a@lan0: a value must be at most 1023 bytes\n");
    for (const char* const value : {"a\nb", "\t", "\x01", "\x1f", "\x7f", "end\r"}) {
        EXPECT_EQ(errors_of([&] { EXPECT_EQ(tesa_ccfg_set_str(tid, "lan0", "a", value), -1); }),
                  "ccfg: cannot set a@lan0: a value must not contain control characters\n");
    }
    EXPECT_EQ(errors_of([&] { EXPECT_EQ(tesa_ccfg_set_str(tid, "lan0", "a", nullptr), -1); }),
              "ccfg: cannot set a@lan0: there is no value\n");
    EXPECT_EQ(get(tid, "lan0", "a"), "old");
}

TEST_F(ConfigStoreLimits, OneTransactionTouchesManyKeysAndRefusesOneTooMany)
{
    ASSERT_GE(overlay_capacity, 256u);
    for (size_t i = 0; i < overlay_capacity; ++i)
        ASSERT_EQ(tesa_ccfg_set_str(tid, "many", ("k" + std::to_string(i)).c_str(), longest_value.c_str()), 0);
    EXPECT_EQ(errors_of([&] { EXPECT_EQ(tesa_ccfg_set_str(tid, "many", "more", "1"), -1); }),
              "ccfg: cannot set more@many: the transaction has touched 320 other keys already\n");
    EXPECT_EQ(errors_of([&] { EXPECT_EQ(tesa_ccfg_unset(tid, "many", "more"), -1); }),
              "ccfg: cannot unset more@many: the transaction has touched 320 other keys already\n");
    EXPECT_EQ(tesa_ccfg_set_str(tid, "many", "k0", "changed"), 0);
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(get(tid, "many", "k0"), "changed");
    EXPECT_EQ(get(tid, "many", "k319"), longest_value);
    EXPECT_EQ(tesa_ccfg_set_str(tid, "many", "more", "1"), 0);
}

TEST_F(ConfigStoreLimits, AProcessHasAtMostFourTransactions)
{
    int tids[3];
    for (int& one : tids) {
        one = tesa_start_transc();
        EXPECT_GT(one, 0);
    }
    EXPECT_EQ(errors_of([] { EXPECT_EQ(tesa_start_transc(), -1); }),
              "ccfg: the process has 4 open transactions already\n");
    for (const int one : tids)
        EXPECT_EQ(tesa_end_transc(one), 0);
}
