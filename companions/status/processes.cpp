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
double age_of(const char* stat_line)
{
    const char* at = strrchr(stat_line, ')'); // its name may hold anything
    if (at == nullptr || at[1] == '\0' || at[2] == 'Z' || at[2] == 'X')
        return -1;
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

} // namespace

bool can_see_processes()
{
    return access("/proc/self/stat", R_OK) == 0;
}

Process find_process(const char* name, const char* word)
{
    Process oldest;
    DIR* const folder = opendir("/proc");
    if (folder == nullptr)
        return oldest;
    while (const dirent* const entry = readdir(folder)) {
        const int pid = atoi(entry->d_name);
        if (pid <= 0)
            continue;
        char path[64];
        char bytes[4096];
        snprintf(path, sizeof path, "/proc/%d/cmdline", pid);
        const ssize_t size = read_small_file(path, bytes, sizeof bytes);
        if (size <= 0 || strcmp(name_of(bytes, size), name) != 0)
            continue;
        Process process;
        if (!describe(bytes, size, word, process))
            continue;
        snprintf(path, sizeof path, "/proc/%d/stat", pid);
        if (read_small_file(path, bytes, sizeof bytes) <= 0)
            continue;
        const double age = age_of(bytes);
        if (age < 0)
            continue;
        process.pid = pid;
        process.age = static_cast<long long>(age);
        if (!oldest.is_running() || process.age > oldest.age || (process.age == oldest.age && pid < oldest.pid))
            oldest = process;
    }
    closedir(folder);
    return oldest;
}
