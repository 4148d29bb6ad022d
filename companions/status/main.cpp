// The gateway's state at a glance. Reads only.
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "options.h"
#include "sections.h"
#include "terminal.h"

namespace {

constexpr char usage[] = "usage: ipv6status [--json] [--watch [SECONDS]] [SECTION...]\n"
                         "       ipv6status --help | --version\n";

constexpr char help[] =
    "\n"
    "Shows the state of the gateway's IPv6 side; what the store says and the kernel denies is marked.\n"
    "\n"
    "  --json            one line of JSON instead of the screen\n"
    "  --watch [SECONDS] shows it anew every 2, or that many, seconds until it is interrupted\n"
    "  SECTION           only these below the reasons: system, wan, daemons, lan0, lan1, firewall, static_routes,\n"
    "                    neighbors, or how they begin (lan: both LANs)\n"
    "\n"
    "Marks: ok as it should be, !! wrong, ?? could not be found out, -> a command that may put it right.\n"
    "Exit status: 0 healthy, 1 degraded, 2 cannot tell, or called wrongly.\n";

constexpr int misused = 2;

volatile sig_atomic_t is_interrupted = 0;

void interrupt(int)
{
    is_interrupted = 1;
}

// Ends at once when a signal asks for an end or for another look. Held back until ppoll lets them through, none can
// come unnoticed just before it; nothing is started meanwhile that would inherit that.
void pause_between_looks(long seconds)
{
    sigset_t heeded;
    sigset_t before;
    sigemptyset(&heeded);
    for (const int number : {SIGINT, SIGTERM, SIGWINCH})
        sigaddset(&heeded, number);
    sigprocmask(SIG_BLOCK, &heeded, &before);
    const timespec pause = {static_cast<time_t>(seconds), 0};
    if (is_interrupted == 0 && !is_another_size())
        ppoll(nullptr, 0, &pause, &before);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

void heed_interrupts()
{
    struct sigaction action = {};
    action.sa_handler = interrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool is_flushed()
{
    if (fflush(stdout) == 0 && ferror(stdout) == 0)
        return true;
    if (errno != EPIPE) // who closed the pipe knows
        fprintf(stderr, "ipv6status: cannot write: %s\n", strerror(errno));
    return false;
}

Health look_around(const Options& options)
{
    static Look look;
    static Report report;
    report.clear();
    look.take();
    report_system(report, look);
    report_wan(report, look);
    report_daemons(report, look); // before the LANs, whose faults are often those of a daemon
    report_lan(report, look, "br-lan", "lan0");
    report_lan(report, look, "br-lan1", "lan1");
    report_firewall(report, look);
    report_routes(report, look);
    report_neighbors(report, look);
    look.drop();
    if (options.json)
        write_json(stdout, report, time(nullptr));
    else if (options.watch == 0)
        write_screen(stdout, report, options, terminal_style());
    else
        write_watched(report, options);
    return report.health();
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    Text<256> complaint;
    if (!parse_options(argc, argv, options, complaint)) {
        fprintf(stderr, "ipv6status: %s\n%s", complaint.c_str(), usage);
        return misused;
    }
    if (options.job != Options::Job::look) {
        if (options.job == Options::Job::help)
            printf("%s%s", usage, help);
        else
            puts("ipv6status " IPV6CTL_VERSION);
        return is_flushed() ? 0 : misused;
    }
    static char buffer[65536]; // a look is sent at once, also to a terminal
    setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
    if (options.watch != 0) {
        heed_interrupts();
        if (!options.json)
            heed_resizing();
    }
    Health health = look_around(options);
    bool is_written = is_flushed();
    while (options.watch != 0 && is_interrupted == 0 && is_written) {
        pause_between_looks(options.watch);
        if (is_interrupted != 0)
            break;
        health = look_around(options);
        is_written = is_flushed();
    }
    return is_written ? static_cast<int>(health) : misused;
}
