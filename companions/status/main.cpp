// The gateway's state at a glance. Reads only.
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "screen.h"
#include "sections.h"
#include "terminal.h"

namespace {

constexpr char usage[] = "usage: ipv6status [--json] [--watch [SECONDS]]\n"
                         "       ipv6status --help | --version\n";

constexpr char help[] =
    "\n"
    "Shows the state of the gateway's IPv6 side; what the store says and the kernel denies is marked.\n"
    "\n"
    "  --json            one line of JSON instead of the screen\n"
    "  --watch [SECONDS] shows it anew every 2, or that many, seconds until it is interrupted\n"
    "\n"
    "Marks: ok as it should be, !! wrong, ?? could not be found out, -> a command that may put it right.\n"
    "Exit status: 0 healthy, 1 degraded, 2 cannot tell, or called wrongly.\n";

constexpr int misused = 2;
constexpr long most_seconds = 86400;

struct Options {
    bool json = false;
    long watch = 0; // seconds; 0: only once
};

volatile sig_atomic_t is_interrupted = 0;

void interrupt(int)
{
    is_interrupted = 1;
}

// Without SA_RESTART, so that the pause ends at once.
void heed_interrupts()
{
    struct sigaction action = {};
    action.sa_handler = interrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool parse_seconds(const char* text, long& seconds)
{
    char* end = nullptr;
    errno = 0;
    seconds = strtol(text, &end, 10);
    return errno == 0 && end != text && *end == '\0' && seconds >= 1 && seconds <= most_seconds;
}

// Returns false when the arguments are none that are known.
bool parse(int count, char** words, Options& options)
{
    for (int i = 1; i < count; ++i) {
        if (strcmp(words[i], "--json") == 0) {
            options.json = true;
        } else if (strncmp(words[i], "--watch=", 8) == 0) {
            if (!parse_seconds(words[i] + 8, options.watch))
                return false;
        } else if (strcmp(words[i], "--watch") == 0) {
            options.watch = 2;
            const bool has_number = i + 1 < count && words[i + 1][0] != '-';
            if (has_number && !parse_seconds(words[++i], options.watch))
                return false;
        } else {
            return false;
        }
    }
    return true;
}

Health look_around(const Options& options)
{
    static Look look;
    static Report report;
    report.clear();
    look.take();
    report_system(report, look);
    report_wan(report, look);
    report_daemons(report); // before the LANs, whose faults are often those of a daemon
    report_lan(report, look, "br-lan", "lan0");
    report_lan(report, look, "br-lan1", "lan1");
    report_firewall(report, look);
    report_routes(report, look);
    report_neighbors(report, look);
    look.drop();
    if (options.json)
        write_json(stdout, report, time(nullptr));
    else if (options.watch == 0)
        write_screen(stdout, report, wants_colors());
    else
        write_watched(report);
    return report.health();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && strcmp(argv[1], "--help") == 0) {
        fputs(usage, stdout);
        fputs(help, stdout);
        return fflush(stdout) == 0 ? 0 : misused;
    }
    if (argc == 2 && strcmp(argv[1], "--version") == 0) {
        puts("ipv6status " IPV6CTL_VERSION);
        return fflush(stdout) == 0 ? 0 : misused;
    }
    Options options;
    if (!parse(argc, argv, options)) {
        fputs(usage, stderr);
        return misused;
    }
    if (options.watch != 0)
        heed_interrupts();
    Health health = look_around(options);
    bool is_written = fflush(stdout) == 0;
    while (options.watch != 0 && is_interrupted == 0 && is_written) {
        const timespec pause = {options.watch, 0};
        nanosleep(&pause, nullptr);
        if (is_interrupted != 0)
            break;
        health = look_around(options);
        is_written = fflush(stdout) == 0;
    }
    return is_written ? static_cast<int>(health) : misused;
}
