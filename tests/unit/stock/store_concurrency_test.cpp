#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>

#include <atomic>
#include <random>

#include "settings_text.h"
#include "snapshot.h"
#include "store_file.h"
#include "store_fixture.h"

namespace {

// Numbers that children tell their parent even when they are killed.
struct Shared {
    std::atomic<long> committed;
    std::atomic<bool> stop;
};

class StoreConcurrency : public StoreTest {
protected:
    void SetUp() override
    {
        void* const area = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(area, MAP_FAILED);
        shared = new (area) Shared();
    }
    ~StoreConcurrency() override { munmap(shared, sizeof(Shared)); }

    static void pause_ns(long ns)
    {
        const timespec pause = {0, ns};
        nanosleep(&pause, nullptr);
    }

    static double seconds()
    {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    }

    Shared* shared = nullptr;
};

constexpr int many_keys = 80;

// Sets many keys to one number, with values long enough to fill several pages.
int commit_number(int tid, long number)
{
    for (int i = 0; i < many_keys; ++i) {
        const std::string value = std::to_string(number) + std::string(static_cast<size_t>(100 + number % 7 * 40), '.');
        tesa_ccfg_set_str(tid, "all", ("k" + std::to_string(i)).c_str(), value.c_str());
    }
    return tesa_ccfg_commit(tid, 1, 0);
}

// The number that all keys have, or -1 when they differ.
long number_of(const Snapshot& settings)
{
    std::string_view rest = settings.settings();
    const std::string_view first = rest.empty() ? rest : take_setting(rest).value;
    int keys = 1;
    for (; !rest.empty(); ++keys) {
        if (take_setting(rest).value != first)
            return -1;
    }
    return keys == many_keys ? std::stol(std::string(first)) : -1;
}

} // namespace

TEST_F(StoreConcurrency, AKillAtAnyTimeLeavesTheOldStateOrTheNewOne)
{
    std::mt19937 random(2);
    const double end = seconds() + 4;
    long before = 0;
    shared->committed = 0;
    ASSERT_EQ(run_child([] { return commit_number(tesa_start_transc(), 0); }), 0);
    for (int rounds = 0; rounds < 20 || (rounds < 300 && seconds() < end); ++rounds) {
        const pid_t child = start_child([&] {
            const int tid = tesa_start_transc();
            for (long number = before + 1; tid > 0; ++number) {
                if (commit_number(tid, number) != 0)
                    return 2;
                shared->committed = number;
            }
            return 1;
        });
        pause_ns(static_cast<long>(random() % 9'000'000));
        kill(child, SIGKILL);
        ASSERT_EQ(wait_child(child), 128 + SIGKILL);

        Snapshot settings;
        ASSERT_TRUE(settings.refresh(store_path()));
        const long found = number_of(settings);
        settings.clear();
        ASSERT_GE(found, shared->committed) << "a commit that was reported is lost";
        ASSERT_LE(found, std::max(shared->committed.load(), before) + 1);
        before = found + 1;
        ASSERT_EQ(run_child([&] { return commit_number(tesa_start_transc(), before); }), 0);
        shared->committed = before;
    }
}

TEST_F(StoreConcurrency, AReaderNeverSeesHalfOfACommit)
{
    ASSERT_EQ(run_child([] { return commit_number(tesa_start_transc(), 0); }), 0);
    pid_t writers[3];
    for (int i = 0; i < 3; ++i) {
        writers[i] = start_child([this, i] {
            const int tid = tesa_start_transc();
            for (long number = i; !shared->stop; number += 3) {
                if (commit_number(tid, number) != 0)
                    return 2;
            }
            return 0;
        });
    }
    pid_t readers[4];
    for (pid_t& reader : readers) {
        reader = start_child([this] {
            Snapshot settings;
            while (!shared->stop) {
                if (!settings.refresh(store_path()) || number_of(settings) < 0)
                    return 3;
                ++shared->committed;
            }
            return 0;
        });
    }
    pause_ns(999'000'000);
    pause_ns(999'000'000);
    shared->stop = true;
    for (const pid_t child : writers)
        EXPECT_EQ(wait_child(child), 0);
    for (const pid_t child : readers)
        EXPECT_EQ(wait_child(child), 0);
    EXPECT_GT(shared->committed, 100);
}

TEST_F(StoreConcurrency, SixteenWritersLoseNothing)
{
    constexpr int commits = 12;
    pid_t writers[16];
    for (int i = 0; i < 16; ++i) {
        writers[i] = start_child([i] {
            const int tid = tesa_start_transc();
            for (int n = 1; n <= commits; ++n) {
                tesa_ccfg_set_long(tid, "own", ("w" + std::to_string(10 + i)).c_str(), n);
                tesa_ccfg_set_long(tid, "own", ("w" + std::to_string(10 + i) + "." + std::to_string(n)).c_str(), 1);
                tesa_ccfg_set_long(tid, "common", "last", i);
                if (tesa_ccfg_commit(tid, 1, 0) != 0)
                    return 1;
            }
            return tesa_end_transc(tid);
        });
    }
    for (const pid_t child : writers)
        ASSERT_EQ(wait_child(child), 0);
    const int tid = tesa_start_transc();
    for (int i = 0; i < 16; ++i) {
        const std::string key = "w" + std::to_string(10 + i);
        EXPECT_EQ(tesa_ccfg_get_long(tid, "own", key.c_str(), -1), commits);
        for (int n = 1; n <= commits; ++n)
            EXPECT_EQ(get(tid, "own", (key + "." + std::to_string(n)).c_str()), "1");
    }
    const long last = tesa_ccfg_get_long(tid, "common", "last", -1);
    EXPECT_GE(last, 0);
    EXPECT_LT(last, 16);
    tesa_end_transc(tid);
}

TEST_F(StoreConcurrency, AStoppedProcessWithAnOpenTransactionHoldsNobodyUp)
{
    const pid_t stopped = start_child([] {
        const int tid = tesa_start_transc();
        tesa_ccfg_set_str(tid, "lan0", "stopped", "1");
        if (get(tid, "lan0", "a") != "(missing)")
            return 1;
        raise(SIGSTOP);
        if (get(tid, "lan0", "a") != "4")
            return 2;
        return tesa_ccfg_commit(tid, 1, 0);
    });
    int status;
    ASSERT_EQ(waitpid(stopped, &status, WUNTRACED), stopped);
    ASSERT_TRUE(WIFSTOPPED(status));
    for (int i = 1; i <= 4; ++i)
        EXPECT_EQ(cli({"set", "a@lan0=" + std::to_string(i)}), (Outcome{0, "", ""}));
    EXPECT_EQ(listed(), "a@lan0=4\n");
    kill(stopped, SIGCONT);
    EXPECT_EQ(wait_child(stopped), 0);
    EXPECT_EQ(listed(), "a@lan0=4\nstopped@lan0=1\n");
}
