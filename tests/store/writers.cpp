#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <new>

#include "platform/config_store.h"
#include "store_driver.h"

namespace {

// What one writer tells its parent.
struct Report {
    int commits;
    double longest;     // seconds of one commit
    int most_overtaken; // commits that others made during one
};

// Shared by all processes.
struct Reports {
    std::atomic<int> made;
    Report of_writer[64];
};

constexpr int shared_keys = 8;

double seconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string own_key(int writer, int commit)
{
    return "w" + std::to_string(writer) + "." + std::to_string(commit % 20);
}

// A number of its own, the last commit under one of twenty names of its own, and keys that all writers set.
int write(int writer, int commits, Reports& reports)
{
    Report& report = reports.of_writer[writer];
    const int tid = tesa_start_transc();
    for (int n = 1; n <= commits && tid > 0; ++n) {
        const std::string mark = std::to_string(writer) + ":" + std::to_string(n);
        tesa_ccfg_set_long(tid, "count", ("w" + std::to_string(writer)).c_str(), n);
        tesa_ccfg_set_long(tid, "own", own_key(writer, n).c_str(), n);
        for (int key = 0; key < shared_keys; ++key)
            tesa_ccfg_set_str(tid, "shared", ("s" + std::to_string(key)).c_str(), mark.c_str());
        const double start = seconds();
        const int made_before = reports.made;
        if (tesa_ccfg_commit(tid, 1, 0) != 0)
            return 1;
        report.longest = std::max(report.longest, seconds() - start);
        report.most_overtaken = std::max(report.most_overtaken, reports.made - made_before);
        ++reports.made;
        report.commits = n;
    }
    return tesa_end_transc(tid);
}

long lost_settings(int tid, int processes, int commits)
{
    long lost = 0;
    for (int writer = 0; writer < processes; ++writer) {
        lost += tesa_ccfg_get_long(tid, "count", ("w" + std::to_string(writer)).c_str(), -1) != commits;
        for (int n = std::max(1, commits - 19); n <= commits; ++n)
            lost += tesa_ccfg_get_long(tid, "own", own_key(writer, n).c_str(), -1) != n;
    }
    // All shared keys are of one commit, and that was the last one of its writer.
    char mark[32];
    tesa_ccfg_get_str(tid, "shared", "s0", mark, sizeof mark, "");
    for (int key = 1; key < shared_keys; ++key)
        lost += tesa_ccfg_cmp_str(tid, "shared", ("s" + std::to_string(key)).c_str(), mark) != 0;
    const std::string end = ":" + std::to_string(commits);
    const std::string text = mark;
    lost += text.size() < end.size() || text.compare(text.size() - end.size(), end.size(), end) != 0;
    return lost;
}

} // namespace

int run_writers(int processes, int commits)
{
    void* const area = mmap(nullptr, sizeof(Reports), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (area == MAP_FAILED || processes > 64)
        return 1;
    Reports& reports = *new (area) Reports();
    const double start = seconds();
    for (int writer = 0; writer < processes; ++writer) {
        if (fork() == 0)
            _exit(write(writer, commits, reports));
    }
    int failed = 0;
    for (int status; wait(&status) > 0;)
        failed += !WIFEXITED(status) || WEXITSTATUS(status) != 0;
    const double took = seconds() - start;
    double longest = 0;
    int made = 0;
    int overtaken = 0;
    for (int writer = 0; writer < processes; ++writer) {
        const Report& report = reports.of_writer[writer];
        longest = std::max(longest, report.longest);
        overtaken = std::max(overtaken, report.most_overtaken);
        made += report.commits;
    }
    const int tid = tesa_start_transc();
    const long lost = tid < 0 ? -1 : lost_settings(tid, processes, commits);
    tesa_end_transc(tid);
    std::printf("commits=%d failed=%d lost=%ld longest_ms=%.0f took_ms=%.0f overtaken=%d\n", made, failed, lost,
                longest * 1000, took * 1000, overtaken);
    return failed == 0 && lost == 0 ? 0 : 1;
}
