#include "platform/private_files.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/ra_records.h"

namespace fs = std::filesystem;

namespace {

constexpr char console[] = "/dev/console";

const std::string& root()
{
    static const std::string path = [] {
        std::string name = testing::TempDir() + "ipv6ctl-unit-XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        return name;
    }();
    return path;
}

std::set<std::string>& unopenable()
{
    static std::set<std::string> paths;
    return paths;
}

bool is_of_the_device(const std::string& path)
{
    for (const char* const directory : {"/tmp/", "/var/run/", "/dev/console", "/proc/sys/", "/proc/net/"}) {
        if (path.rfind(directory, 0) == 0 && path.rfind(root(), 0) != 0)
            return true;
    }
    return false;
}

bool refuses(const std::string& path)
{
    if (unopenable().count(path) == 0)
        return false;
    errno = EACCES;
    return true;
}

std::vector<std::string> lines_of(const std::string& path)
{
    std::vector<std::string> lines;
    std::istringstream content(file_exists(path) ? read_file(path) : "");
    for (std::string line; std::getline(content, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

std::string private_path(const std::string& path)
{
    return is_of_the_device(path) ? root() + path : path;
}

void remove_private_files()
{
    std::error_code ignored;
    fs::remove_all(root(), ignored);
}

void reset_private_files()
{
    unopenable().clear();
    remove_private_files();
    for (const char* const directory : {"/tmp", "/var/run", "/dev", "/proc/sys/net/ipv6/conf", "/proc/net"})
        fs::create_directories(root() + directory);
}

void write_file(const std::string& path, const std::string& content)
{
    std::ofstream(private_path(path), std::ios::binary) << content;
}

std::string read_file(const std::string& path)
{
    std::ifstream file(private_path(path), std::ios::binary);
    if (!file)
        return "(missing)";
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

bool file_exists(const std::string& path)
{
    return fs::exists(fs::symlink_status(private_path(path)));
}

void make_directory(const std::string& path)
{
    fs::create_directories(private_path(path));
}

void make_symbolic_link(const std::string& target, const std::string& path)
{
    fs::create_symlink(private_path(target), private_path(path));
}

void make_unopenable(const std::string& path)
{
    unopenable().insert(path);
}

std::vector<std::string> log_lines()
{
    return lines_of("/tmp/ipv6.log");
}

std::vector<std::string> console_lines()
{
    return lines_of(console);
}

#if !defined(IPV6CTL_PLATFORM_DEVICE)
FILE* open_ra_records(void)
{
    return fopen("/proc/net/if_flags6", "re");
}
#endif

extern "C" {

int __real_open(const char* path, int flags, ...);
FILE* __real_fopen(const char* path, const char* mode);
int __real_stat(const char* path, struct stat* status);
int __real_unlink(const char* path);
int __real_rename(const char* from, const char* to);

int __wrap_open(const char* path, int flags, ...)
{
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(rest, int)) : 0;
    va_end(rest);
    EXPECT_TRUE((flags & O_CLOEXEC) != 0) << path << " would leak into the daemons that the shell lines leave behind";
    if (refuses(path))
        return -1;
    // A console is a terminal: there is nothing to truncate, and what was said stays said.
    if (std::string(path) == console)
        flags = (flags & ~O_TRUNC) | O_APPEND;
    return __real_open(private_path(path).c_str(), flags, mode);
}

// The test library opens its own files this way too; of the device only the kernel's records are.
FILE* __wrap_fopen(const char* path, const char* mode)
{
    if (std::string(path).rfind("/proc/net/", 0) != 0)
        return __real_fopen(path, mode);
    return refuses(path) ? nullptr : __real_fopen(private_path(path).c_str(), mode);
}

int __wrap_stat(const char* path, struct stat* status)
{
    return __real_stat(private_path(path).c_str(), status);
}

int __wrap_unlink(const char* path)
{
    return __real_unlink(private_path(path).c_str());
}

int __wrap_rename(const char* from, const char* to)
{
    return __real_rename(private_path(from).c_str(), private_path(to).c_str());
}
}
