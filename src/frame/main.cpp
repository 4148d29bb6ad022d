// One invocation: a transaction, one command chosen by the name, a commit.

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "command_table.h"
#include "log.h"
#include "platform/config_store.h"

namespace {

// What a caller left closed of the standard descriptors would become the number of the next file, and the shell lines
// would write into that.
void open_standard_descriptors()
{
    for (int number = 0; number >= 0 && number <= STDERR_FILENO;)
        number = open("/dev/null", O_RDWR);
}

// While it lives, a message to a standard error whose reader has gone away does not end the process.
class BrokenPipeIgnored {
public:
    BrokenPipeIgnored()
    {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &ignore, &before_);
    }
    ~BrokenPipeIgnored() { sigaction(SIGPIPE, &before_, nullptr); }
    BrokenPipeIgnored(const BrokenPipeIgnored&) = delete;
    BrokenPipeIgnored& operator=(const BrokenPipeIgnored&) = delete;

private:
    struct sigaction before_ = {};
};

int error_end(const char* name)
{
    log_line("main", "^_^[%s] ERROR_INTERNAL, end\n", name);
    return -1;
}

Outcome run_command(const Invocation& run)
{
    for (const Command& command : CommandTable) {
        if (std::strstr(run.argv[0], command.word) != nullptr)
            return command.run(run);
    }
    return Outcome::not_supported;
}

} // namespace

int main(int argc, char** argv)
{
    open_standard_descriptors();
    char no_name[] = "";
    char* no_arguments[] = {no_name, nullptr};
    if (argc < 1)
        argv = no_arguments;
    const char* const name = argv[0];

    const int tid = tesa_start_transc();
    if (tid == -1) {
        const BrokenPipeIgnored ignored;
        dprintf(STDERR_FILENO, "Failed to start a transaction to zel middle\n");
        return error_end(name);
    }
    log_line("main", "^_^[%s] start.\n", name);
    switch (run_command({.tid = tid, .argc = argc, .argv = argv})) {
    case Outcome::refused:
        return error_end(name);
    case Outcome::not_supported: {
        const BrokenPipeIgnored ignored;
        dprintf(STDERR_FILENO, "\t%s is not support!\n", name);
        break;
    }
    case Outcome::completed:
        break;
    }
    tesa_ccfg_commit(tid, 1, 0);
    tesa_end_transc(tid);
    log_line("main", "^_^[%s] ERROR_NONE, end.\n", name);
    return 1;
}
