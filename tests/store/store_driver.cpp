#include "store_driver.h"

#include <cstdio>
#include <cstdlib>

#include "platform/config_store.h"

namespace {

// One transaction that sets `keys` keys of section `big` to `value`.
int commit_keys(int keys, const char* value)
{
    const int tid = tesa_start_transc();
    if (tid < 0)
        return 3;
    for (int i = 0; i < keys; ++i) {
        if (tesa_ccfg_set_str(tid, "big", ("k" + std::to_string(1000 + i)).c_str(), value) != 0)
            return 4;
    }
    const int committed = tesa_ccfg_commit(tid, 1, 0);
    tesa_end_transc(tid);
    return committed == 0 ? 0 : 5;
}

// Reads a setting again and again in one transaction, each time behind a change by the tool. Returns 6 when a reading
// gives another value than the tool has set.
int follow_changes(const char* tool, int rounds)
{
    const int tid = tesa_start_transc();
    if (tid < 0)
        return 3;
    std::string value;
    for (int round = 0; round < rounds; ++round) {
        // The first question meets another file, the second one a known file; it is known from then on.
        for (int question = 0; question < 3; ++question) {
            if (tesa_ccfg_cmp_str(tid, "lan0", "followed", value.c_str()) != 0)
                return 6;
        }
        value = std::to_string(round);
        if (std::system((std::string(tool) + " set followed@lan0=" + value).c_str()) != 0)
            return 4;
    }
    return tesa_end_transc(tid);
}

} // namespace

int main(int argc, char* argv[])
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() == 3 && words[0] == "damage")
        return damage_store(words[1], std::strtoul(argv[3], nullptr, 10));
    if (words.size() == 3 && words[0] == "writers")
        return run_writers(std::atoi(argv[2]), std::atoi(argv[3]));
    if (words.size() == 3 && words[0] == "commit")
        return commit_keys(std::atoi(argv[2]), argv[3]);
    if (words.size() == 3 && words[0] == "follow")
        return follow_changes(argv[2], std::atoi(argv[3]));
    if (words.size() >= 3 && words[0] == "kill")
        return kill_at_stop(std::atol(argv[2]), {words.begin() + 2, words.end()});
    std::fprintf(stderr, "usage: store_driver damage KIND STEP | writers PROCESSES COMMITS | commit KEYS VALUE | "
                         "follow TOOL ROUNDS | kill STOP PROGRAM ARGUMENT...\n");
    return 2;
}
