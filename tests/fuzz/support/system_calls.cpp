#include "support/system_calls.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <sys/sysinfo.h>

#include "support/finding.h"

namespace {

bool program_runs = false;
void (*next_pause)() = nullptr;

const std::set<std::string>& known_files()
{
    static const std::set<std::string> files = {
        "/dev/console",
        "/proc/net/if_flags6",
        "/tmp/.ip6_neigh",
        "/tmp/.ip6_neigh_show",
        "/tmp/.ip6t",
        "/tmp/.ip6t.lock",
        "/tmp/dhcp6c-wan.conf",
        "/tmp/dhcp6c-wan.leases",
        "/tmp/dhcp6d",
        "/tmp/dhcp6d.conf",
        "/tmp/dhcp6d.conf.lock",
        "/tmp/dhcp6d.conf.new",
        "/tmp/dhcp6d.leases",
        "/tmp/host.log",
        "/tmp/ip6_rt",
        "/tmp/ipv6.log",
        "/tmp/ps_dhcp6c.txt",
        "/tmp/ps_dhcp6c_s.txt",
        "/tmp/radvd.conf",
        "/tmp/radvd.conf.lock",
        "/tmp/radvd.conf.new",
        "/tmp/rdnssd",
        "/tmp/resolv.conf.auto",
        "/tmp/sha.txt",
        "/tmp/ula.txt",
        "/tmp/zel_ipt_new",
        "/tmp/zel_ipt_old",
        "/tmp/zel_ipv6cp_script_running",
        "/var/run/dhcp6c-wan.pid",
        "/var/run/dhcp6d.pid",
    };
    return files;
}

void check_file(const char* path)
{
    if (!is_known_file(path))
        finding(std::string("a file outside the known ones: ") + path);
}

} // namespace

ProgramRuns::ProgramRuns()
{
    program_runs = true;
}

ProgramRuns::~ProgramRuns()
{
    program_runs = false;
    next_pause = nullptr;
}

bool is_known_file(const std::string& path)
{
    const std::string switches = "/proc/sys/net/ipv6/conf/";
    if (path.rfind(switches, 0) != 0)
        return known_files().count(path) != 0;
    const std::size_t slash = path.find('/', switches.size());
    if (slash == std::string::npos)
        return false;
    const std::string interface = path.substr(switches.size(), slash - switches.size());
    const std::string key = path.substr(slash + 1);
    return !interface.empty() && interface != "." && interface != ".."
           && (key == "disable_ipv6" || key == "accept_ra" || key == "forwarding");
}

void at_next_pause(void (*happen)())
{
    next_pause = happen;
}

extern "C" {

int __real_open(const char* path, int flags, ...);
FILE* __real_fopen(const char* path, const char* mode);
int __real_stat(const char* path, struct stat* status);
int __real_unlink(const char* path);
int __real_rename(const char* from, const char* to);
int __real_socket(int domain, int type, int protocol);
int __real_ioctl(int fd, unsigned long request, ...);
time_t __real_time(time_t* out);
int __real_sysinfo(struct sysinfo* info);
int __real_nanosleep(const timespec* wanted, timespec* left);

int unit_test_open(const char* path, int flags, ...);
FILE* unit_test_fopen(const char* path, const char* mode);
int unit_test_stat(const char* path, struct stat* status);
int unit_test_unlink(const char* path);
int unit_test_rename(const char* from, const char* to);
int unit_test_socket(int domain, int type, int protocol);
int unit_test_ioctl(int fd, unsigned long request, ...);
time_t unit_test_time(time_t* out);
int unit_test_sysinfo(struct sysinfo* info);
int unit_test_nanosleep(const timespec* wanted, timespec* left);

int __wrap_open(const char* path, int flags, ...)
{
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(rest, int)) : 0;
    va_end(rest);
    if (!program_runs)
        return __real_open(path, flags, mode);
    check_file(path);
    // The log and the console take most of a run's time and hold nothing that anybody parses.
    const std::string name(path);
    if (name == "/tmp/ipv6.log" || name == "/dev/console")
        return __real_open("/dev/null", O_WRONLY | O_CLOEXEC);
    return unit_test_open(path, flags, mode);
}

FILE* __wrap_fopen(const char* path, const char* mode)
{
    if (!program_runs)
        return __real_fopen(path, mode);
    check_file(path);
    return unit_test_fopen(path, mode);
}

int __wrap_stat(const char* path, struct stat* status)
{
    if (!program_runs)
        return __real_stat(path, status);
    check_file(path);
    return unit_test_stat(path, status);
}

int __wrap_unlink(const char* path)
{
    if (!program_runs)
        return __real_unlink(path);
    check_file(path);
    return unit_test_unlink(path);
}

int __wrap_rename(const char* from, const char* to)
{
    if (!program_runs)
        return __real_rename(from, to);
    check_file(from);
    check_file(to);
    return unit_test_rename(from, to);
}

int __wrap_socket(int domain, int type, int protocol)
{
    return program_runs ? unit_test_socket(domain, type, protocol) : __real_socket(domain, type, protocol);
}

int __wrap_ioctl(int fd, unsigned long request, ...)
{
    std::va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    return program_runs ? unit_test_ioctl(fd, request, argument) : __real_ioctl(fd, request, argument);
}

time_t __wrap_time(time_t* out)
{
    return program_runs ? unit_test_time(out) : __real_time(out);
}

int __wrap_sysinfo(struct sysinfo* info)
{
    return program_runs ? unit_test_sysinfo(info) : __real_sysinfo(info);
}

int __wrap_nanosleep(const timespec* wanted, timespec* left)
{
    if (!program_runs)
        return __real_nanosleep(wanted, left);
    if (void (*const happen)() = next_pause; happen != nullptr) {
        next_pause = nullptr;
        happen();
    }
    return unit_test_nanosleep(wanted, left);
}
}
