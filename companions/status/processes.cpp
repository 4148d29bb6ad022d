#include "processes.h"

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <initializer_list>

#include "small_file.h"

namespace {

const char* last_part(const char* path)
{
    const char* const slash = strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

bool is_shell(const char* program)
{
    for (const char* const each : {"sh", "dash", "bash", "ash", "busybox"}) {
        if (strcmp(program, each) == 0)
            return true;
    }
    return false;
}

// The words of a command line as the kernel gives them: each with a NUL behind it.
class Words {
public:
    Words(const char* bytes, ssize_t size) : at_(bytes), end_(bytes + (size > 0 ? size : 0)) {}

    // Null behind the last one.
    const char* next()
    {
        if (at_ >= end_)
            return nullptr;
        const char* const word = at_;
        at_ += strlen(at_) + 1;
        return word;
    }

private:
    const char* at_;
    const char* end_;
};

const char* name_of(const char* bytes, ssize_t size)
{
    Words words(bytes, size);
    const char* const first = words.next();
    if (first == nullptr)
        return "";
    const char* name = last_part(first);
    if (!is_shell(name))
        return name;
    for (const char* word = words.next(); word != nullptr; word = words.next()) {
        if (word[0] != '-')
            return last_part(word);
    }
    return name;
}

bool describe(const char* bytes, ssize_t size, const char* wanted, Process& process)
{
    bool found = wanted == nullptr;
    bool config_follows = false;
    Words words(bytes, size);
    for (const char* word = words.next(); word != nullptr; word = words.next()) {
        if (!process.command.empty())
            process.command.append(" ");
        process.command.append(word);
        found = found || strcmp(word, wanted) == 0;
        if (config_follows)
            process.config = word;
        config_follows = strcmp(word, "-C") == 0 || strcmp(word, "-cf") == 0;
    }
    return found;
}

// Seconds since the process of this stat(5) line began; -1 when it is a dead one or no such line.
double age_of(const char* stat_line, bool& is_stopped)
{
    const char* at = strrchr(stat_line, ')'); // its name may hold anything
    if (at == nullptr || at[1] == '\0' || at[2] == 'Z' || at[2] == 'X')
        return -1;
    is_stopped = at[2] == 'T' || at[2] == 't';
    ++at;
    constexpr int start_field = 20; // counted from the state, which is the first behind the name
    for (int field = 1; field < start_field && at != nullptr; ++field)
        at = strchr(at + 1, ' ');
    if (at == nullptr)
        return -1;
    timespec now;
    clock_gettime(CLOCK_BOOTTIME, &now);
    const double started =
        static_cast<double>(strtoull(at + 1, nullptr, 10)) / static_cast<double>(sysconf(_SC_CLK_TCK));
    const double age = static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9 - started;
    return age > 0 ? age : 0;
}

// The words by which the program knows what it is called for.
constexpr const char* commands[] = {"zel_ipv6_lan",   "zel_ip6neigh_update", "zel_dhcp6c_update", "zel_resolv_update",
                                    "zel_ipcp_up",    "zel_ipcp_down",       "zel_ipv6cp_up",     "zel_ipv6cp_down",
                                    "zel_ifconfig",   "wan6c_restart",       "ipv6rd_restart",    "dhcp6c_start",
                                    "dhcp6c_restart", "dhcp6c_release",      "dhcp6c_renew",      "ipv6_lan_restart"};

bool is_command(const char* name)
{
    for (const char* const each : commands) {
        if (strstr(name, each) != nullptr)
            return true;
    }
    return false;
}

Text<64> network_of(int process)
{
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/ns/net", process);
    Text<64> name;
    const ssize_t size = readlink(path, name.data(), name.capacity - 1);
    name.data()[size > 0 ? size : 0] = '\0';
    return name;
}

// True when the process has a number in a namespace below ours, as those of a container have.
bool is_inside_another(int process)
{
    char path[64];
    char status[4096];
    snprintf(path, sizeof path, "/proc/%d/status", process);
    if (read_small_file(path, status, sizeof status) <= 0)
        return false;
    int outer = 0;
    int inner = 0;
    const char* const line = strstr(status, "\nNSpid:");
    return line != nullptr && sscanf(line, " NSpid: %d%*[\t ]%d", &outer, &inner) == 2;
}

// Only who may look into a process is told its network namespace; its numbers are told to everybody.
bool is_elsewhere(int process)
{
    const Text<64> its = network_of(process);
    return its.empty() ? is_inside_another(process) : !its.equals(network_of(getpid()));
}

// Returns false when it is gone, or not the one that is looked for: null for `name` stands for the program's commands.
bool look_at(int pid, const char* name, const char* word, Process& process)
{
    char path[64];
    char bytes[4096];
    snprintf(path, sizeof path, "/proc/%d/cmdline", pid);
    const ssize_t size = read_small_file(path, bytes, sizeof bytes);
    if (size <= 0)
        return false;
    process.name = name_of(bytes, size);
    if (name != nullptr ? !process.name.equals(name) : !is_command(process.name))
        return false;
    if (!describe(bytes, size, word, process) || is_elsewhere(pid))
        return false;
    snprintf(path, sizeof path, "/proc/%d/stat", pid);
    const double age = read_small_file(path, bytes, sizeof bytes) > 0 ? age_of(bytes, process.is_stopped) : -1;
    process.age = static_cast<long long>(age);
    return age >= 0;
}

Process find_oldest(const char* name, const char* word)
{
    Process oldest;
    DIR* const folder = opendir("/proc");
    if (folder == nullptr)
        return oldest;
    while (const dirent* const entry = readdir(folder)) {
        Process process;
        const int pid = atoi(entry->d_name);
        if (pid <= 0 || !look_at(pid, name, word, process))
            continue;
        process.pid = pid;
        if (!oldest.is_running() || process.age > oldest.age || (process.age == oldest.age && pid < oldest.pid))
            oldest = process;
    }
    closedir(folder);
    return oldest;
}

} // namespace

bool can_see_processes()
{
    return access("/proc/self/stat", R_OK) == 0;
}

Process find_process(const char* name, const char* word)
{
    return find_oldest(name, word);
}

Process find_run()
{
    return find_oldest(nullptr, nullptr);
}
