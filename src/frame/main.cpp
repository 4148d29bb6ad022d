// One invocation: a transaction, one command chosen by the name, a commit.

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <initializer_list>

#include "command_table.h"
#include "log.h"
#include "platform/config_store.h"

namespace {

// What a caller left closed of the standard descriptors would become the number of the next file, and the shell lines
// would write into that.
void open_standard_descriptors()
{
    int number = 0;
    while (number >= 0 && number <= STDERR_FILENO)
        number = open("/dev/null", O_RDWR);
    if (number > STDERR_FILENO)
        close(number); // not for the shell lines and the daemons that they start
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

// Writes one message to standard error, in one call and without the C library's stream, which would take memory.
void tell(const char* before, const char* name, const char* after)
{
    const BrokenPipeIgnored ignored;
    iovec parts[3] = {};
    std::size_t count = 0;
    for (const char* text : {before, name, after})
        parts[count++] = {const_cast<char*>(text), std::strlen(text)};
    if (writev(STDERR_FILENO, parts, 3) < 0)
        return; // nobody is left to tell
}

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
        tell("Failed to start a transaction to zel middle\n", "", "");
        return error_end(name);
    }
    log_line("main", "^_^[%s] start.\n", name);
    switch (run_command({.tid = tid, .argc = argc, .argv = argv})) {
    case Outcome::refused:
        return error_end(name);
    case Outcome::not_supported:
        tell("\t", name, " is not support!\n");
        break;
    case Outcome::completed:
        break;
    }
    tesa_ccfg_commit(tid, 1, 0);
    tesa_end_transc(tid);
    log_line("main", "^_^[%s] ERROR_NONE, end.\n", name);
    return 1;
}
