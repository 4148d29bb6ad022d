// One invocation: a transaction, one command chosen by the name, a commit.

#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "command_table.h"
#include "log.h"
#include "platform/config_store.h"

namespace {

int error_end(const char* name)
{
    log_line("main", "^_^[%s] ERROR_INTERNAL, end\n", name);
    return -1;
}

Outcome run_command(const Invocation& run)
{
    for (const Command& command : CommandTable) {
        if (std::strstr(run.argv[0], command.word.data()) != nullptr)
            return command.run(run);
    }
    return Outcome::not_supported;
}

} // namespace

int main(int argc, char** argv)
{
    char no_name[] = "";
    char* no_arguments[] = {no_name, nullptr};
    if (argc < 1)
        argv = no_arguments;
    const char* const name = argv[0];

    const int tid = tesa_start_transc();
    if (tid == -1) {
        dprintf(STDERR_FILENO, "Failed to start a transaction to zel middle\n");
        return error_end(name);
    }
    log_line("main", "^_^[%s] start.\n", name);
    switch (run_command({.tid = tid, .argc = argc, .argv = argv})) {
    case Outcome::refused:
        return error_end(name);
    case Outcome::not_supported:
        dprintf(STDERR_FILENO, "\t%s is not support!\n", name);
        break;
    case Outcome::completed:
        break;
    }
    tesa_ccfg_commit(tid, 1, 0);
    tesa_end_transc(tid);
    log_line("main", "^_^[%s] ERROR_NONE, end.\n", name);
    return 1;
}
