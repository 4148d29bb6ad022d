#include <limits.h>

#include "store_fixture.h"

using ConfigStore = StoreTest;

TEST_F(ConfigStore, ATransactionSeesItsOwnChangesOverTheCommittedState)
{
    ASSERT_EQ(cli({"import"}, "a@lan0=old\nb@lan0=kept\nc@lan0=gone\n").status, 0);
    const int tid = tesa_start_transc();
    ASSERT_GT(tid, 0);
    EXPECT_EQ(tesa_ccfg_set_str(tid, "lan0", "a", "new"), 0);
    EXPECT_EQ(tesa_ccfg_unset(tid, "lan0", "c"), 0);
    EXPECT_EQ(get(tid, "lan0", "a"), "new");
    EXPECT_EQ(get(tid, "lan0", "b"), "kept");
    EXPECT_EQ(get(tid, "lan0", "c"), "(missing)");
    EXPECT_EQ(listed(), "a@lan0=old\nb@lan0=kept\nc@lan0=gone\n");
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(listed(), "a@lan0=new\nb@lan0=kept\n");
    EXPECT_EQ(tesa_end_transc(tid), 0);
}

TEST_F(ConfigStore, AnEndWithoutCommitDropsAll)
{
    int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "lan0", "a", "1");
    EXPECT_EQ(tesa_end_transc(tid), 0);
    EXPECT_EQ(listed(), "");
    tid = tesa_start_transc();
    EXPECT_EQ(get(tid, "lan0", "a"), "(missing)");
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(listed(), "");
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, AnExitWithoutCommitDropsAll)
{
    EXPECT_EQ(run_child([] {
                  const int tid = tesa_start_transc();
                  return tesa_ccfg_set_str(tid, "lan0", "a", "1");
              }),
              0);
    EXPECT_EQ(listed(), "");
}

TEST_F(ConfigStore, AReadSeesWhatAnotherProcessHasCommittedMeanwhile)
{
    const int tid = tesa_start_transc();
    EXPECT_EQ(get(tid, "lan0", "a"), "(missing)");
    for (const char* const value : {"1", "2", "", "4"}) {
        ASSERT_EQ(cli({"set", std::string("a@lan0=") + value}).status, 0);
        EXPECT_EQ(get(tid, "lan0", "a"), value);
        EXPECT_EQ(tesa_ccfg_cmp_str(tid, "lan0", "a", value), 0);
    }
    ASSERT_EQ(cli({"unset", "a@lan0"}).status, 0);
    EXPECT_EQ(get(tid, "lan0", "a"), "(missing)");
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, ACommitKeepsTheKeysThatOthersWroteMeanwhile)
{
    const int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "lan0", "mine", "1");
    ASSERT_EQ(cli({"set", "theirs@lan0=2"}).status, 0);
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(listed(), "mine@lan0=1\ntheirs@lan0=2\n");
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, TwoTransactionsMergeTheirKeys)
{
    const int first = tesa_start_transc();
    const int second = tesa_start_transc();
    ASSERT_NE(first, second);
    tesa_ccfg_set_str(first, "lan0", "a", "first");
    tesa_ccfg_set_str(second, "lan1", "b", "second");
    EXPECT_EQ(get(second, "lan0", "a"), "(missing)");
    EXPECT_EQ(tesa_ccfg_commit(second, 1, 0), 0);
    EXPECT_EQ(get(first, "lan1", "b"), "second");
    EXPECT_EQ(tesa_ccfg_commit(first, 1, 0), 0);
    EXPECT_EQ(listed(), "a@lan0=first\nb@lan1=second\n");
    tesa_end_transc(first);
    tesa_end_transc(second);
}

TEST_F(ConfigStore, TheLastCommitOfAKeyWins)
{
    const int first = tesa_start_transc();
    const int second = tesa_start_transc();
    tesa_ccfg_set_str(first, "lan0", "a", "first");
    tesa_ccfg_set_str(second, "lan0", "a", "second");
    EXPECT_EQ(tesa_ccfg_commit(second, 1, 0), 0);
    EXPECT_EQ(get(first, "lan0", "a"), "first");
    EXPECT_EQ(tesa_ccfg_commit(first, 1, 0), 0);
    EXPECT_EQ(listed(), "a@lan0=first\n");
    tesa_end_transc(first);
    tesa_end_transc(second);
}

TEST_F(ConfigStore, ASetOfTheStoredValueStillWinsOverAChangeMeanwhile)
{
    ASSERT_EQ(cli({"set", "a@lan0=1"}).status, 0);
    const int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "lan0", "a", "1");
    ASSERT_EQ(cli({"set", "a@lan0=2"}).status, 0);
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(listed(), "a@lan0=1\n");
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, AnUnsetRemovesWhatAnotherProcessSetMeanwhile)
{
    const int tid = tesa_start_transc();
    EXPECT_EQ(tesa_ccfg_unset(tid, "lan0", "a"), 0);
    ASSERT_EQ(cli({"import"}, "a@lan0=1\nb@lan0=1\n").status, 0);
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(listed(), "b@lan0=1\n");
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, ASetAfterAnUnsetAndAnUnsetAfterASetBothHold)
{
    const int tid = tesa_start_transc();
    tesa_ccfg_unset(tid, "lan0", "a");
    tesa_ccfg_set_str(tid, "lan0", "a", "back");
    tesa_ccfg_set_str(tid, "lan0", "b", "gone");
    tesa_ccfg_unset(tid, "lan0", "b");
    EXPECT_EQ(get(tid, "lan0", "a"), "back");
    EXPECT_EQ(get(tid, "lan0", "b"), "(missing)");
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(listed(), "a@lan0=back\n");
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, ATransactionCommitsMoreThanOnce)
{
    const int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "lan0", "a", "1");
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    ASSERT_EQ(cli({"set", "a@lan0=other"}).status, 0);
    tesa_ccfg_set_str(tid, "lan0", "b", "2");
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(listed(), "a@lan0=other\nb@lan0=2\n");
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, AReadCutsToTheBufferAndEndsInANul)
{
    ASSERT_EQ(cli({"set", "a@lan0=123456789"}).status, 0);
    const int tid = tesa_start_transc();
    char text[8] = "#######";
    EXPECT_EQ(tesa_ccfg_get_str(tid, "lan0", "a", text, 5, "default"), 0);
    EXPECT_EQ(std::string(text, 8), std::string("1234\0##\0", 8));
    EXPECT_EQ(tesa_ccfg_get_str(tid, "lan0", "none", text, 5, "default"), -1);
    EXPECT_STREQ(text, "defa");
    EXPECT_EQ(tesa_ccfg_get_str(tid, "lan0", "a", text, 1, "default"), 0);
    EXPECT_STREQ(text, "");
    char untouched[2] = "#";
    EXPECT_EQ(tesa_ccfg_get_str(tid, "lan0", "a", untouched, 0, "default"), 0);
    EXPECT_STREQ(untouched, "#");
    EXPECT_EQ(tesa_ccfg_get_str(tid, "lan0", "none", text, sizeof text, nullptr), -1);
    EXPECT_STREQ(text, "");
    char own_default[8] = "itself";
    EXPECT_EQ(tesa_ccfg_get_str(tid, "lan0", "none", own_default, sizeof own_default, own_default), -1);
    EXPECT_STREQ(own_default, "itself");
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, ALongIsReadAsStrtolReadsIt)
{
    const int tid = tesa_start_transc();
    const struct {
        const char* text;
        long value;
    } cases[] = {{"0", 0},    {"-17", -17}, {" 42", 42}, {"+5", 5}, {"07", 7},
                 {"0x10", 0}, {"12ab", 12}, {"text", 0}, {"", 0},   {"99999999999999999999999", LONG_MAX}};
    for (const auto& one : cases) {
        tesa_ccfg_set_str(tid, "system", "n", one.text);
        EXPECT_EQ(tesa_ccfg_get_long(tid, "system", "n", 77), one.value) << one.text;
    }
    EXPECT_EQ(tesa_ccfg_get_long(tid, "system", "none", 77), 77);
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, ALongIsStoredAsDecimalText)
{
    const int tid = tesa_start_transc();
    tesa_ccfg_set_long(tid, "system", "n", -64);
    EXPECT_EQ(get(tid, "system", "n"), "-64");
    tesa_ccfg_set_long(tid, "system", "n", LONG_MIN);
    EXPECT_EQ(tesa_ccfg_get_long(tid, "system", "n", 0), LONG_MIN);
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, AMissingKeyComparesAsTheEmptyText)
{
    const int tid = tesa_start_transc();
    EXPECT_EQ(tesa_ccfg_cmp_str(tid, "system", "none", ""), 0);
    EXPECT_NE(tesa_ccfg_cmp_str(tid, "system", "none", "1"), 0);
    tesa_ccfg_set_str(tid, "system", "a", "1");
    EXPECT_EQ(tesa_ccfg_cmp_str(tid, "system", "a", "1"), 0);
    EXPECT_NE(tesa_ccfg_cmp_str(tid, "system", "a", "10"), 0);
    EXPECT_NE(tesa_ccfg_cmp_str(tid, "system", "a", ""), 0);
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, AnEmptyValueIsNotAMissingKey)
{
    const int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "lan0", "a", "");
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    tesa_end_transc(tid);
    const int again = tesa_start_transc();
    EXPECT_EQ(get(again, "lan0", "a"), "");
    EXPECT_EQ(listed(), "a@lan0=\n");
    tesa_end_transc(again);
}

TEST_F(ConfigStore, SectionsAreToldApart)
{
    const int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "lan", "0a", "1");
    tesa_ccfg_set_str(tid, "lan0", "a", "2");
    tesa_ccfg_set_str(tid, "lan0", "A", "3");
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(get(tid, "lan", "0a") + get(tid, "lan0", "a") + get(tid, "lan0", "A"), "123");
    tesa_end_transc(tid);
}

TEST_F(ConfigStore, AnUnknownHandleIsRefused)
{
    const int tid = tesa_start_transc();
    ASSERT_EQ(tesa_end_transc(tid), 0);
    for (const int unknown : {tid, 0, -1, 1000}) {
        errors_of([&] {
            char text[8];
            EXPECT_EQ(tesa_end_transc(unknown), -1);
            EXPECT_EQ(tesa_ccfg_set_str(unknown, "lan0", "a", "1"), -1);
            EXPECT_EQ(tesa_ccfg_set_long(unknown, "lan0", "a", 1), -1);
            EXPECT_EQ(tesa_ccfg_unset(unknown, "lan0", "a"), -1);
            EXPECT_EQ(tesa_ccfg_commit(unknown, 1, 0), -1);
            EXPECT_EQ(tesa_ccfg_get_str(unknown, "lan0", "a", text, sizeof text, "default"), -1);
            EXPECT_STREQ(text, "default");
        });
    }
}
