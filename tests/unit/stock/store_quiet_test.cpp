// A run that changes nothing writes nothing: the program runs every minute, and the store lies on a flash memory.
#include <dirent.h>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "store_fixture.h"

namespace {

class QuietStore : public StoreTest {
protected:
    void SetUp() override { ASSERT_EQ(cli({"import"}, "a@lan0=1\nb@lan0=2\nn@system=7\n").status, 0); }

    std::vector<std::string> names_in_folder() const
    {
        std::vector<std::string> names;
        DIR* const listing = opendir(folder.path().c_str());
        while (const dirent* const entry = readdir(listing)) {
            if (entry->d_name[0] != '.')
                names.emplace_back(entry->d_name);
        }
        closedir(listing);
        std::sort(names.begin(), names.end());
        return names;
    }
};

// Ends the process with SIGSYS at the first system call that could write to a file: the writing ones themselves, and
// opening for writing. mmap needs no watching once a file cannot be opened for writing.
bool forbid_writing()
{
    std::vector<sock_filter> filter;
    const auto load = [&](size_t offset) {
        filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<uint32_t>(offset)));
    };
    const auto kill_process = [&] { filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS)); };
    load(offsetof(seccomp_data, nr));
    for (const long call : {SYS_write, SYS_writev, SYS_pwrite64, SYS_pwritev, SYS_ftruncate, SYS_fsync, SYS_fdatasync,
                            SYS_msync, SYS_fallocate, SYS_utimensat, SYS_renameat2, SYS_unlinkat}) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call), 0, 1));
        kill_process();
    }
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3));
    load(offsetof(seccomp_data, args) + 2 * sizeof(uint64_t) + (__BYTE_ORDER == __BIG_ENDIAN ? 4 : 0));
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_ACCMODE | O_CREAT | O_TRUNC, 0, 1));
    kill_process();
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

int run_without_writing(const char* value)
{
    return run_child([value] {
        if (!forbid_writing())
            return 10;
        const int tid = tesa_start_transc();
        char text[8];
        if (tid < 0 || tesa_ccfg_get_str(tid, "lan0", "a", text, sizeof text, "") != 0)
            return 11;
        tesa_ccfg_set_str(tid, "lan0", "a", value);
        tesa_ccfg_set_long(tid, "system", "n", 7);
        tesa_ccfg_set_str(tid, "lan0", "b", "other");
        tesa_ccfg_set_str(tid, "lan0", "b", "2");
        tesa_ccfg_unset(tid, "lan0", "none");
        if (tesa_ccfg_commit(tid, 1, 0) != 0)
            return 12;
        return tesa_end_transc(tid) == 0 ? 0 : 13;
    });
}

} // namespace

TEST_F(QuietStore, ACommitThatChangesNothingMakesNoWritingSystemCall)
{
    EXPECT_EQ(run_without_writing("1"), 0);
    EXPECT_EQ(run_without_writing("changed"), 128 + SIGSYS); // the filter does see a change
}

TEST_F(QuietStore, ACommitThatChangesNothingLeavesTheFileAsItIs)
{
    const std::string before = read_file(folder.store());
    struct stat old_times;
    struct stat new_times;
    ASSERT_EQ(stat(folder.store().c_str(), &old_times), 0);
    for (const char* const line : {"a@lan0=1", "n@system=7"})
        EXPECT_EQ(cli({"set", line}).status, 0);
    EXPECT_EQ(cli({"unset", "none@lan0"}).status, 0);
    EXPECT_EQ(cli({"import"}, "a@lan0=1\nb@lan0=2\n").status, 0);
    EXPECT_EQ(cli({"list"}).status, 0);
    const int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "lan0", "a", "1");
    tesa_ccfg_unset(tid, "lan0", "none");
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    tesa_end_transc(tid);
    ASSERT_EQ(stat(folder.store().c_str(), &new_times), 0);
    EXPECT_TRUE(read_file(folder.store()) == before);
    EXPECT_EQ(old_times.st_mtim.tv_sec, new_times.st_mtim.tv_sec);
    EXPECT_EQ(old_times.st_mtim.tv_nsec, new_times.st_mtim.tv_nsec);
    EXPECT_EQ(old_times.st_ctim.tv_nsec, new_times.st_ctim.tv_nsec);
}

TEST_F(QuietStore, TheStoreIsOneFileAndAnEmptyOneToWaitAt)
{
    const std::vector<std::string> names = {"ccfg.db", "ccfg.db.lock"};
    const int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "lan0", "a", "9");
    EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
    EXPECT_EQ(names_in_folder(), names);
    tesa_end_transc(tid);
    EXPECT_EQ(names_in_folder(), names);
    EXPECT_EQ(read_file(folder.file("ccfg.db.lock")), "");
}

TEST_F(QuietStore, AStartedProgramInheritsNothingOfTheStore)
{
    const int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "lan0", "a", "9");
    const Outcome links = run_program({"/bin/ls", "-l", "/proc/self/fd"});
    EXPECT_EQ(links.status, 0);
    EXPECT_EQ(links.output.find("ccfg"), std::string::npos) << links.output;
    tesa_end_transc(tid);
}

TEST_F(QuietStore, AnEndedTransactionLeavesNoDescriptorOpen)
{
    const auto count = [] { return run_program({"/bin/sh", "-c", "ls /proc/$PPID/fd | wc -l"}).output; };
    const std::string before = count();
    for (int i = 0; i < 3; ++i) {
        const int tid = tesa_start_transc();
        tesa_ccfg_set_long(tid, "lan0", "a", i);
        EXPECT_EQ(tesa_ccfg_commit(tid, 1, 0), 0);
        tesa_end_transc(tid);
    }
    EXPECT_EQ(count(), before);
}
