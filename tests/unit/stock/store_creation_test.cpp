#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "store_fixture.h"

namespace {

constexpr int factory_keys = 200;

class StoreCreation : public StoreTest {
protected:
    std::string factory_lines() const
    {
        std::string lines;
        for (int i = 0; i < factory_keys; ++i)
            lines += "k" + std::to_string(1000 + i) + "@factory=" + std::string(40, 'f') + "\n";
        return lines;
    }

    bool exists(const std::string& name) const { return access(folder.file(name).c_str(), F_OK) == 0; }
};

} // namespace

TEST_F(StoreCreation, ANewStoreIsEmptyWithoutFactorySettings)
{
    const int tid = tesa_start_transc();
    ASSERT_GT(tid, 0);
    EXPECT_EQ(get(tid, "lan0", "a"), "(missing)");
    tesa_end_transc(tid);
    EXPECT_TRUE(exists("ccfg.db"));
    EXPECT_EQ(cli({"list"}), (Outcome{0, "", ""}));
}

TEST_F(StoreCreation, ANewStoreHasTheFactorySettings)
{
    write_file(folder.file("ccfg.factory"), "# as delivered\n\nip6_ula_sid@lan0=01\nempty@lan0=\n  \nlast@lan1=a=b");
    const int tid = tesa_start_transc();
    EXPECT_EQ(get(tid, "lan0", "ip6_ula_sid"), "01");
    tesa_end_transc(tid);
    EXPECT_EQ(listed(), "empty@lan0=\nip6_ula_sid@lan0=01\nlast@lan1=a=b\n");
}

TEST_F(StoreCreation, FactorySettingsDoNotReachAnExistingStore)
{
    ASSERT_EQ(cli({"set", "mine@lan0=1"}).status, 0);
    write_file(folder.file("ccfg.factory"), "a@lan0=1\n");
    EXPECT_EQ(listed(), "mine@lan0=1\n");
}

TEST_F(StoreCreation, AToolCreatesTheStoreToo)
{
    write_file(folder.file("ccfg.factory"), "a@lan0=1\n");
    EXPECT_EQ(cli({"set", "b@lan0=2"}), (Outcome{0, "", ""}));
    EXPECT_EQ(listed(), "a@lan0=1\nb@lan0=2\n");
}

TEST_F(StoreCreation, ABadFactoryLineIsNamedAndNothingIsCreated)
{
    write_file(folder.file("ccfg.factory"), "a@lan0=1\nno equals sign\n");
    EXPECT_EQ(errors_of([] { EXPECT_EQ(tesa_start_transc(), -1); }),
              "ccfg: " + folder.file("ccfg.factory") + ": line 2: there is no '=' before the value: no equals sign\n");
    EXPECT_FALSE(exists("ccfg.db"));
    EXPECT_FALSE(exists("ccfg.db.new"));
}

TEST_F(StoreCreation, ADeviceInPlaceOfTheFileIsLeftAlone)
{
    ASSERT_EQ(symlink("/dev/null", folder.store().c_str()), 0);
    const Outcome refused = {1, "", "ccfg: " + folder.store() + ": is not a file\n"};
    EXPECT_EQ(cli({"set", "a@lan0=1"}), refused);
    EXPECT_EQ(cli({"get", "a@lan0"}), refused);
    EXPECT_EQ(cli({"import"}, "a@lan0=1\n"),
              (Outcome{1, "", "ccfg: " + folder.store() + ": cannot be changed: is not a file\n"}));
    EXPECT_NE(access("/dev/null.new", F_OK), 0);
    EXPECT_EQ(std::filesystem::read_symlink(folder.store()), "/dev/null");
    EXPECT_FALSE(exists("ccfg.db.new"));
}

TEST_F(StoreCreation, ALinkToTheStoreIsFollowedAndStays)
{
    ASSERT_EQ(symlink("elsewhere.db", folder.store().c_str()), 0);
    EXPECT_EQ(cli({"set", "a@lan0=1"}).status, 1) << "a link that leads nowhere";
    write_file(folder.file("elsewhere.db"), "");
    EXPECT_EQ(cli({"import"}, "a@lan0=1\n").status, 0);
    EXPECT_EQ(cli({"set", "b@lan0=2"}), (Outcome{0, "", ""}));
    EXPECT_EQ(listed(), "a@lan0=1\nb@lan0=2\n");
    EXPECT_EQ(std::filesystem::read_symlink(folder.store()), "elsewhere.db");
    EXPECT_FALSE(exists("elsewhere.db.new"));
}

TEST_F(StoreCreation, ALeftoverOfAKilledCreationIsOverwritten)
{
    write_file(folder.file("ccfg.db.new"), std::string(100000, 'x'));
    write_file(folder.file("ccfg.factory"), "a@lan0=1\n");
    EXPECT_EQ(cli({"list"}), (Outcome{0, "a@lan0=1\n", ""}));
    EXPECT_FALSE(exists("ccfg.db.new"));
}

TEST_F(StoreCreation, ALinkInPlaceOfTheUnfinishedFileIsNotFollowed)
{
    write_file(folder.file("victim"), "precious");
    ASSERT_EQ(symlink("victim", folder.file("ccfg.db.new").c_str()), 0);
    EXPECT_EQ(errors_of([] { EXPECT_EQ(tesa_start_transc(), -1); }),
              "ccfg: " + folder.store() + ": cannot be created: Too many levels of symbolic links\n");
    EXPECT_EQ(read_file(folder.file("victim")), "precious");
}

TEST_F(StoreCreation, EightProcessesThatStartAtOnceAllSeeTheWholeStore)
{
    write_file(folder.file("ccfg.factory"), factory_lines());
    for (int round = 0; round < 10; ++round) {
        unlink(folder.store().c_str());
        int gate[2];
        ASSERT_EQ(pipe(gate), 0);
        pid_t children[8];
        for (int i = 0; i < 8; ++i) {
            children[i] = start_child([&gate, i] {
                char nothing;
                close(gate[1]);
                if (read(gate[0], &nothing, 1) != 0) // opens for all at once when the parent closes its end
                    return 20;
                const int tid = tesa_start_transc();
                if (tid < 0)
                    return 21;
                for (int key = 0; key < factory_keys; ++key) {
                    if (get(tid, "factory", ("k" + std::to_string(1000 + key)).c_str()) != std::string(40, 'f'))
                        return 22;
                }
                tesa_ccfg_set_long(tid, "mine", ("p" + std::to_string(i)).c_str(), i);
                return tesa_ccfg_commit(tid, 1, 0) == 0 ? 0 : 23;
            });
        }
        close(gate[0]);
        close(gate[1]);
        for (const pid_t child : children)
            EXPECT_EQ(wait_child(child), 0);
        std::string expected = factory_lines();
        for (int i = 0; i < 8; ++i)
            expected += "p" + std::to_string(i) + "@mine=" + std::to_string(i) + "\n";
        EXPECT_EQ(listed(), expected);
        EXPECT_FALSE(exists("ccfg.db.new"));
    }
}

TEST_F(StoreCreation, AKillAtAnyTimeLeavesNoHalfOfTheFactorySettings)
{
    write_file(folder.file("ccfg.factory"), factory_lines());
    std::mt19937 random(1);
    int whole_at_once = 0;
    int not_yet = 0;
    for (int round = 0; round < 60; ++round) {
        unlink(folder.store().c_str());
        const pid_t child = start_child([] { return tesa_start_transc() > 0 ? 0 : 1; });
        const timespec pause = {0, static_cast<long>(random() % 4'000'000)};
        nanosleep(&pause, nullptr);
        kill(child, SIGKILL);
        wait_child(child);
        exists("ccfg.db") ? ++whole_at_once : ++not_yet;
        ASSERT_EQ(cli({"list"}), (Outcome{0, factory_lines(), ""}));
        ASSERT_FALSE(exists("ccfg.db.new"));
    }
    RecordProperty("killed_before", not_yet);
    RecordProperty("killed_after", whole_at_once);
}
