#include "store_lock.h"

#include <fcntl.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include "store_fixture.h"

namespace {

class StoreLock : public StoreTest {
protected:
    int open_file() const { return open(folder.file("locks").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600); }

    static double seconds()
    {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    }
};

} // namespace

TEST_F(StoreLock, AWriterDoesNotWaitForReadersOfTheNewestState)
{
    const int reader = open_file();
    const int writer = open_file();
    ASSERT_TRUE(mark_state(reader, 7));
    const pid_t waiting = start_child([&] { return await_old_readers(writer, 7) ? 0 : 1; });
    EXPECT_EQ(wait_child(waiting), 0);
    close(reader);
    close(writer);
}

TEST_F(StoreLock, AWriterWaitsForReadersOfOlderStates)
{
    for (const size_t old : {size_t{6}, size_t{8}, size_t{0}}) {
        const int reader = open_file();
        const int writer = open_file();
        ASSERT_TRUE(mark_state(reader, old));
        int answer[2];
        ASSERT_EQ(pipe2(answer, O_NONBLOCK), 0);
        const pid_t waiting = start_child([&] {
            const bool clear = await_old_readers(writer, 7);
            return clear && write(answer[1], "x", 1) == 1 ? 0 : 1;
        });
        const timespec pause = {0, 50'000'000};
        nanosleep(&pause, nullptr);
        char got;
        EXPECT_LT(read(answer[0], &got, 1), 0) << "the writer went on while state " << old << " was read";
        ASSERT_TRUE(unmark_state(reader, old));
        EXPECT_EQ(wait_child(waiting), 0);
        for (const int fd : {reader, writer, answer[0], answer[1]})
            close(fd);
    }
}

TEST_F(StoreLock, LocksEndWithTheirProcess)
{
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t holder = start_child([&] {
        const int fd = open_file();
        if (!lock_writer(fd) || !mark_state(fd, 1) || write(ready[1], "x", 1) != 1)
            return 1;
        pause();
        return 0;
    });
    char got;
    ASSERT_EQ(read(ready[0], &got, 1), 1);
    kill(holder, SIGKILL);
    wait_child(holder);
    const int fd = open_file();
    const double before = seconds();
    EXPECT_TRUE(lock_writer(fd));
    EXPECT_TRUE(await_old_readers(fd, 7));
    EXPECT_LT(seconds() - before, 5.0);
    for (const int one : {fd, ready[0], ready[1]})
        close(one);
}

TEST_F(StoreLock, MarksOfAnyStateNumberLieOnTheirOwnBytes)
{
    const int reader = open_file();
    const int writer = open_file();
    for (const size_t number : {size_t{0}, size_t{1}, size_t{0xffffff}, size_t{0xffffffff}}) {
        ASSERT_TRUE(mark_state(reader, number));
        EXPECT_TRUE(await_old_readers(writer, number)) << number;
        ASSERT_TRUE(unmark_state(reader, number));
    }
    close(reader);
    close(writer);
}
