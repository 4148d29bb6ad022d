#include "snapshot.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "setting_name.h"
#include "store_fixture.h"
#include "store_writer.h"

namespace {

class SnapshotTest : public StoreTest {
protected:
    Snapshot snapshot;

    void SetUp() override
    {
        ASSERT_EQ(cli({"set", "key@sect=first"}).status, 0);
        ASSERT_TRUE(snapshot.refresh(path()));
        ASSERT_TRUE(snapshot.is_newest(path())); // from here on the open file is watched
        ASSERT_TRUE(snapshot.is_newest(path()));
    }

    ~SnapshotTest() override { snapshot.clear(); }

    const char* path()
    {
        path_ = folder.store();
        return path_.c_str();
    }

    std::string value()
    {
        std::string_view found;
        return snapshot.refresh(path()) && snapshot.find("key@sect=", found) ? std::string(found) : "(none)";
    }

    // Another state of the store, in a file of its own.
    std::string other_store(const std::string& text)
    {
        const std::string other = folder.file("other.db");
        setenv("TESA_STORE", other.c_str(), 1);
        EXPECT_EQ(cli({"set", "key@sect=" + text}).status, 0);
        setenv("TESA_STORE", folder.store().c_str(), 1);
        return other;
    }

    void change_the_known_state()
    {
        SettingName name;
        ASSERT_TRUE(name.assign("other", "sect"));
        StoreWriter writer;
        ASSERT_TRUE(writer.begin(path(), Damaged::refuse, &snapshot));
        ASSERT_TRUE(writer.put(name, "1"));
        ASSERT_TRUE(writer.commit());
    }

private:
    std::string path_;
};

} // namespace

TEST_F(SnapshotTest, SeesACommitAtTheNextLook)
{
    for (const char* text : {"second", "third", "fourth"}) {
        ASSERT_EQ(cli({"set", std::string("key@sect=") + text}).status, 0);
        EXPECT_FALSE(snapshot.is_newest(path()));
        EXPECT_EQ(value(), text);
    }
}

TEST_F(SnapshotTest, SeesACommitOfAStoreThatHasASecondName)
{
    ASSERT_EQ(link(path(), folder.file("backup.db").c_str()), 0);
    EXPECT_EQ(value(), "first");
    ASSERT_EQ(cli({"set", "key@sect=second"}).status, 0);
    EXPECT_FALSE(snapshot.is_newest(path()));
    EXPECT_EQ(value(), "second");
    ASSERT_EQ(link(path(), folder.file("backup2.db").c_str()), 0);
    ASSERT_EQ(cli({"set", "key@sect=third"}).status, 0);
    EXPECT_EQ(value(), "third");
}

TEST_F(SnapshotTest, SeesAStoreThatWasMovedAway)
{
    const std::string other = other_store("other");
    ASSERT_EQ(rename(path(), folder.file("old.db").c_str()), 0);
    EXPECT_FALSE(snapshot.is_newest(path()));
    ASSERT_EQ(rename(other.c_str(), path()), 0);
    EXPECT_EQ(value(), "other");
}

TEST_F(SnapshotTest, SeesAStoreThatWasMovedBack)
{
    const std::string other = other_store("other");
    const std::string kept = folder.file("kept.db");
    ASSERT_EQ(rename(path(), kept.c_str()), 0);
    ASSERT_EQ(rename(other.c_str(), path()), 0);
    EXPECT_EQ(value(), "other");
    ASSERT_EQ(rename(kept.c_str(), path()), 0);
    EXPECT_EQ(value(), "first");
}

TEST_F(SnapshotTest, SeesAStoreThatWasWrittenOver)
{
    const std::string other = other_store("a longer text");
    write_file(path(), read_file(other));
    EXPECT_FALSE(snapshot.is_newest(path()));
    EXPECT_EQ(value(), "a longer text");
}

TEST_F(SnapshotTest, SeesAStoreThatWasRemoved)
{
    ASSERT_EQ(unlink(path()), 0);
    EXPECT_FALSE(snapshot.is_newest(path()));
    EXPECT_FALSE(snapshot.refresh(path()));
}

TEST_F(SnapshotTest, KnowsItsFileAgainWhenOnlyItsModeWasChanged)
{
    ASSERT_EQ(chmod(path(), 0640), 0);
    EXPECT_TRUE(snapshot.is_newest(path()));
    EXPECT_EQ(snapshot.copy().file().st_mode & 07777U, 0640U);
}

TEST_F(SnapshotTest, AChangeOfAKnownStateKeepsTheModeThatTheStoreHasNow)
{
    ASSERT_EQ(chmod(path(), 0640), 0);
    change_the_known_state();
    EXPECT_EQ(listed(), "key@sect=first\nother@sect=1\n");
    struct stat file;
    ASSERT_EQ(stat(path(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0640U);
}

TEST_F(SnapshotTest, AChangeBeginsWithTheStoreWhenWhatIsKnownIsOlder)
{
    ASSERT_EQ(cli({"set", "third@sect=3"}).status, 0);
    change_the_known_state();
    EXPECT_EQ(listed(), "key@sect=first\nother@sect=1\nthird@sect=3\n");
}
