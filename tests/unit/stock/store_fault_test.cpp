#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "store_fixture.h"
#include "store_format.h"

namespace {

class StoreFault : public StoreTest {
protected:
    void make_store()
    {
        std::string lines;
        for (int i = 0; i < 300; ++i)
            lines += "k" + std::to_string(i) + "@big=" + std::string(100, 'v') + "\n";
        ASSERT_EQ(cli({"import"}, lines).status, 0);
    }

    // Holds that the store cannot be used, that a message says `reason`, and that the file stays as it is.
    void expect_refused(const std::string& reason) const
    {
        const std::string before = read_file(folder.store());
        const std::string said = "ccfg: " + folder.store() + ": " + reason + "\n";
        EXPECT_EQ(errors_of([] { EXPECT_EQ(tesa_start_transc(), -1); }), said);
        EXPECT_EQ(cli({"get", "k1@big"}), (Outcome{1, "", said}));
        EXPECT_EQ(cli({"set", "k1@big=1"}), (Outcome{1, "", said}));
        EXPECT_EQ(cli({"list"}), (Outcome{1, "", said}));
        EXPECT_TRUE(read_file(folder.store()) == before);
        EXPECT_NE(access(folder.file("ccfg.db.new").c_str(), F_OK), 0);
    }

    // A store's whole file with a right head.
    static std::string store_of(const std::string& lines)
    {
        std::string bytes(store_head_size, ' ');
        write_store_head(lines, bytes.data());
        return bytes + lines;
    }
};

constexpr char damaged[] = "is damaged or is not a settings store; it is left as it is";

} // namespace

TEST_F(StoreFault, AMissingFolderIsNotCreated)
{
    const std::string path = folder.file("none/ccfg.db");
    setenv("TESA_STORE", path.c_str(), 1);
    EXPECT_EQ(errors_of([] { EXPECT_EQ(tesa_start_transc(), -1); }),
              "ccfg: " + path + ": cannot be created: No such file or directory\n");
    EXPECT_EQ(cli({"import"}, "a@lan0=1\n").status, 1);
    EXPECT_NE(access(folder.file("none").c_str(), F_OK), 0);
}

TEST_F(StoreFault, ATextFileIsRefusedAndKept)
{
    write_file(folder.store(), "a@lan0=1\n");
    expect_refused(damaged);
    write_file(folder.store(), std::string(20000, 'x'));
    expect_refused(damaged);
}

TEST_F(StoreFault, ACutStoreIsRefusedAndKept)
{
    make_store();
    const std::string whole = read_file(folder.store());
    for (const size_t size : {size_t{1}, size_t{100}, size_t{5000}, whole.size() / 2, whole.size() - 1}) {
        write_file(folder.store(), whole.substr(0, size));
        expect_refused(damaged);
    }
    write_file(folder.store(), whole);
    EXPECT_EQ(cli({"get", "k1@big"}).status, 0);
}

TEST_F(StoreFault, AnEmptyFileIsRefusedAndKept)
{
    // The store itself never is one; something else has emptied it.
    write_file(folder.file("ccfg.factory"), "a@lan0=1\n");
    write_file(folder.store(), "");
    expect_refused(damaged);
}

TEST_F(StoreFault, SettingsOutsideTheLimitsAreDamage)
{
    for (const char* const lines :
         {"a@lan0=tab\there\n", "a@lan0\n", "alan0=1\n", "a b@lan0=1\n", "@lan0=1\n", "a@=1\n", "b@lan0=1\na@lan0=1\n",
          "a@lan0=1\na@lan0=1\n", "a@lan0=1\n\n", "a@lan0=1"}) {
        write_file(folder.store(), store_of(lines));
        expect_refused(damaged);
    }
    write_file(folder.store(), store_of("a@lan0=" + std::string(1024, 'v') + "\n"));
    expect_refused(damaged);
    write_file(folder.store(), store_of("a@lan0=" + std::string(1023, 'v') + "\n"));
    EXPECT_EQ(cli({"get", "a@lan0"}).output, std::string(1023, 'v') + "\n");
}

TEST_F(StoreFault, AnImportReplacesADamagedStoreAndKeepsIt)
{
    write_file(folder.file("ccfg.factory"), "a@lan0=factory\nb@lan0=factory\n");
    make_store();
    for (const char* const kept : {"ccfg.db.damaged", "ccfg.db.damaged.2", "ccfg.db.damaged.3"}) {
        const std::string bytes = "damaged before it became " + std::string(kept);
        write_file(folder.store(), bytes);
        EXPECT_EQ(cli({"import"}, "b@lan0=mine\nno setting\n").status, 1);
        EXPECT_EQ(read_file(folder.store()), bytes) << "a wrong line must change nothing";
        EXPECT_EQ(cli({"import"}, "b@lan0=mine\n"),
                  (Outcome{0, "",
                           "ccfg: " + folder.store() + " was damaged and is kept as " + folder.file(kept)
                               + "; the new one began with the factory settings\n"}));
        EXPECT_EQ(listed(), "a@lan0=factory\nb@lan0=mine\n");
        EXPECT_EQ(read_file(folder.file(kept)), bytes);
        EXPECT_NE(access(folder.file("ccfg.db.new").c_str(), F_OK), 0);
    }
}

TEST_F(StoreFault, NoDamagedStoreIsThrownAwayForALaterOne)
{
    for (int i = 1; i <= 9; ++i)
        write_file(folder.file("ccfg.db.damaged" + (i == 1 ? "" : "." + std::to_string(i))), "older");
    write_file(folder.store(), "damaged");
    EXPECT_EQ(cli({"import"}, "a@lan0=1\n"),
              (Outcome{1, "", "ccfg: " + folder.store() + ": cannot be changed: File exists\n"}));
    EXPECT_EQ(read_file(folder.store()), "damaged");
    for (int i = 1; i <= 9; ++i)
        EXPECT_EQ(read_file(folder.file("ccfg.db.damaged" + (i == 1 ? "" : "." + std::to_string(i)))), "older");
}

TEST_F(StoreFault, AnImportThatWasKilledHalfwayIsDoneOnce)
{
    write_file(folder.store(), "damaged");
    ASSERT_EQ(link(folder.store().c_str(), folder.file("ccfg.db.damaged").c_str()), 0);
    EXPECT_EQ(cli({"import"}, "a@lan0=1\n").status, 0);
    EXPECT_EQ(read_file(folder.file("ccfg.db.damaged")), "damaged");
    EXPECT_NE(access(folder.file("ccfg.db.damaged.2").c_str(), F_OK), 0);
    EXPECT_EQ(listed(), "a@lan0=1\n");
}

TEST_F(StoreFault, ADamagedStoreCanBeMendedWithAnEditor)
{
    make_store();
    const std::string before = listed();
    std::string bytes = read_file(folder.store());
    bytes[bytes.size() - 2] = 'w';
    write_file(folder.store(), bytes);
    expect_refused(damaged);
    bytes[bytes.size() - 2] = 'v';
    write_file(folder.file("mended"), bytes);
    EXPECT_EQ(cli({"import", folder.file("mended")}).status, 0);
    EXPECT_TRUE(listed() == before);
}

TEST_F(StoreFault, AStoreDamagedUnderAnOpenTransactionLeavesItTheLastState)
{
    ASSERT_EQ(cli({"import"}, "a@lan0=1\nb@lan0=2\n").status, 0);
    const int tid = tesa_start_transc();
    write_file(folder.file("other"), "damaged");
    ASSERT_EQ(rename(folder.file("other").c_str(), folder.store().c_str()), 0);
    EXPECT_EQ(errors_of([&] {
                  EXPECT_EQ(get(tid, "lan0", "a"), "1");
                  EXPECT_EQ(get(tid, "lan0", "b"), "2");
                  tesa_ccfg_set_str(tid, "lan0", "a", "3");
                  EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), -1);
                  EXPECT_EQ(tesa_start_transc(), -1);
              }),
              "ccfg: " + folder.store() + ": " + damaged + "\n");
    EXPECT_EQ(read_file(folder.store()), "damaged");
    tesa_end_transc(tid);
}

TEST_F(StoreFault, AFolderInPlaceOfTheFileIsRefused)
{
    ASSERT_EQ(mkdir(folder.store().c_str(), 0700), 0);
    EXPECT_EQ(errors_of([] { EXPECT_EQ(tesa_start_transc(), -1); }), "ccfg: " + folder.store() + ": Is a directory\n");
}

TEST_F(StoreFault, AReadOnlyStoreIsReadAndACommitIsRefused)
{
    ASSERT_EQ(cli({"import"}, "a@lan0=1\nb@lan0=2\n").status, 0);
    ASSERT_EQ(chmod(folder.store().c_str(), 0444), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0555), 0);
    std::string said;
    EXPECT_EQ(run_child([&] {
                  if (geteuid() == 0 && setuid(65534) != 0)
                      return 10;
                  const int tid = tesa_start_transc();
                  if (tid < 0 || get(tid, "lan0", "a") != "1")
                      return 11;
                  tesa_ccfg_set_str(tid, "lan0", "a", "1");
                  if (tesa_ccfg_commit(tid, 1, 0) != 0)
                      return 12;
                  tesa_ccfg_set_str(tid, "lan0", "a", "changed");
                  said = errors_of([&] {
                      if (tesa_ccfg_commit(tid, 1, 0) != -1)
                          _exit(13);
                  });
                  if (said != "ccfg: " + folder.store() + ": cannot be changed: Permission denied\n")
                      return 14;
                  return get(tid, "lan0", "a") == "changed" ? 0 : 15;
              }),
              0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    EXPECT_EQ(listed(), "a@lan0=1\nb@lan0=2\n");
}

TEST_F(StoreFault, AFullStoreSaysSoAndKeepsItsState)
{
    make_store();
    const std::string before = listed();
    const std::string bytes = read_file(folder.store());
    std::string lines;
    for (int i = 0; i < 17000; ++i)
        lines += "full" + std::to_string(i) + "@big=" + std::string(1000, 'v') + "\n";
    EXPECT_EQ(cli({"import"}, lines), (Outcome{1, "", "ccfg: " + folder.store() + ": cannot be changed: is full\n"}));
    EXPECT_TRUE(listed() == before);
    EXPECT_TRUE(read_file(folder.store()) == bytes);
    EXPECT_EQ(cli({"set", "k1@big=still"}).status, 0);
}
