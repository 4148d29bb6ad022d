#include "frame/file_lock.h"

#include "platform/device_test.h"

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr char guarded[] = "/tmp/x.conf";

using FileLockTest = DeviceTest;

// True when a process that holds nothing finds the lock free.
bool is_free()
{
    const pid_t child = fork();
    if (child == 0) {
        const int file = open("/tmp/x.conf.lock", O_RDWR | O_CLOEXEC);
        struct flock whole_file = {};
        whole_file.l_type = F_WRLCK;
        _exit(file < 0 || fcntl(file, F_SETLK, &whole_file) == 0 ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

// Another process that holds the lock until it is told to end.
class Holder {
public:
    Holder()
    {
        int ready[2];
        EXPECT_EQ(pipe(ready), 0);
        pid_ = fork();
        if (pid_ == 0) {
            const FileLock lock(guarded);
            char byte = 'x';
            if (write(ready[1], &byte, 1) == 1)
                pause();
            _exit(0);
        }
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
        close(ready[1]);
    }

    ~Holder() { end(); }

    void end()
    {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        pid_ = -1;
    }

    pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
};

} // namespace

TEST_F(FileLockTest, holds_its_file_while_it_lives)
{
    {
        const FileLock lock(guarded);
        EXPECT_FALSE(is_free());
        struct stat found = {};
        ASSERT_EQ(stat("/tmp/x.conf.lock", &found), 0);
        EXPECT_EQ(found.st_mode & 07777U, 0600U);
    }
    EXPECT_TRUE(is_free());
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_FALSE(file_exists(guarded));
    EXPECT_FALSE(file_exists("/tmp/x.conf.lock"));
}

TEST_F(FileLockTest, takes_over_the_file_that_a_killed_holder_left)
{
    write_file("/tmp/x.conf.lock", "");
    {
        const FileLock lock(guarded);
        EXPECT_FALSE(is_free());
    }
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_FALSE(file_exists("/tmp/x.conf.lock"));
}

TEST_F(FileLockTest, is_held_by_one_of_many_at_a_time)
{
    constexpr int processes = 8;
    constexpr int rounds = 50;
    write_file("/tmp/count", "");
    for (int i = 0; i < processes; ++i) {
        if (fork() != 0)
            continue;
        bool alone = true;
        for (int round = 0; round < rounds; ++round) {
            const FileLock lock(guarded);
            const int inside = open("/tmp/inside", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            alone = alone && inside >= 0;
            const int count = open("/tmp/count", O_WRONLY | O_APPEND | O_CLOEXEC);
            static_cast<void>(!write(count, "x", 1));
            close(count);
            close(inside);
            unlink("/tmp/inside");
        }
        _exit(alone ? 0 : 1);
    }
    for (int i = 0; i < processes; ++i) {
        int status = -1;
        wait(&status);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(read_file("/tmp/count").size(), static_cast<std::size_t>(processes * rounds));
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_FALSE(file_exists("/tmp/x.conf.lock"));
}

TEST_F(FileLockTest, is_released_by_the_death_of_its_holder)
{
    Holder holder;
    EXPECT_FALSE(is_free());
    holder.end();
    EXPECT_TRUE(is_free());
}

TEST_F(FileLockTest, is_not_kept_by_what_its_holder_started)
{
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t daemon = -1;
    {
        const FileLock lock(guarded);
        daemon = fork();
        if (daemon == 0) {
            static_cast<void>(!write(ready[1], "x", 1));
            pause();
            _exit(0);
        }
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
    }
    EXPECT_TRUE(is_free());
    kill(daemon, SIGKILL);
    waitpid(daemon, nullptr, 0);
}

TEST_F(FileLockTest, waits_for_another_holder)
{
    Holder holder;
    const pid_t killer = fork();
    if (killer == 0) {
        usleep(200000);
        kill(holder.pid(), SIGKILL);
        _exit(0);
    }
    const FileLock lock(guarded);
    int status = -1;
    waitpid(killer, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(is_free());
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(FileLockTest, loses_patience_and_says_so)
{
    const Holder holder;
    struct sigaction before = {};
    sigaction(SIGALRM, nullptr, &before);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGALRM);
    sigprocmask(SIG_BLOCK, &blocked, nullptr); // as an impolite caller may leave it
    {
        const FileLock lock(guarded, 1);
        EXPECT_EQ(log_lines(),
                  Lines{"[FileLock][1234] /tmp/x.conf.lock is still held after 1 seconds, going on without "
                        "it."});
    }
    sigset_t mask;
    sigprocmask(SIG_UNBLOCK, &blocked, &mask);
    EXPECT_EQ(sigismember(&mask, SIGALRM), 1);
    struct sigaction after = {};
    sigaction(SIGALRM, nullptr, &after);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
    EXPECT_EQ(alarm(0), 0U); // no timer is left running
    EXPECT_FALSE(is_free());
}

TEST_F(FileLockTest, goes_on_without_a_lock_file)
{
    make_directory("/tmp/x.conf.lock");
    {
        const FileLock lock(guarded);
    }
    EXPECT_EQ(log_lines(), Lines{"[FileLock][1234] Can't open /tmp/x.conf.lock, going on without it."});
}

TEST_F(FileLockTest, does_not_follow_a_link_in_the_lock_file_s_place)
{
    make_symbolic_link("/tmp/elsewhere", "/tmp/x.conf.lock");
    {
        const FileLock lock(guarded);
    }
    EXPECT_EQ(log_lines(), Lines{"[FileLock][1234] Can't open /tmp/x.conf.lock, going on without it."});
    EXPECT_FALSE(file_exists("/tmp/elsewhere"));
}

TEST_F(FileLockTest, waits_a_minute_by_itself)
{
    EXPECT_EQ(FileLock::usual_patience, 60);
}
