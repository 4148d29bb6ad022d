#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "store_fixture.h"

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
        EXPECT_EQ(cli({"import"}, "a@b=1\n").status, 1);
        EXPECT_TRUE(read_file(folder.store()) == before);
        EXPECT_NE(access(folder.file("ccfg.db.new").c_str(), F_OK), 0);
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

TEST_F(StoreFault, AForeignDatabaseIsRefusedAndKept)
{
    // Names that this store never writes: without the closing sign, and without a section.
    make_store();
    const std::string own = read_file(folder.store());
    for (const size_t sign : {size_t{6}, size_t{2}}) {
        std::string bytes = own;
        for (size_t at; (at = bytes.find("k1@big=")) != bytes.npos;)
            bytes[at + sign] = '#';
        write_file(folder.store(), bytes);
        expect_refused(damaged);
    }
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

TEST_F(StoreFault, TheFileStaysSmallOverManyChanges)
{
    make_store();
    struct stat first;
    struct stat last;
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(cli({"set", "k1@big=" + std::to_string(i)}).status, 0);
    ASSERT_EQ(stat(folder.store().c_str(), &first), 0);
    for (int i = 0; i < 60; ++i)
        ASSERT_EQ(cli({"set", "k1@big=" + std::to_string(i)}).status, 0);
    ASSERT_EQ(stat(folder.store().c_str(), &last), 0);
    EXPECT_EQ(last.st_size, first.st_size);
}
