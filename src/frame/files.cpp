#include "files.h"

#include <cstdarg>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "log.h"
#include "outside_value.h"

namespace {

// Returns the descriptor, -1 for what cannot be opened and for what is no regular file.
int open_regular_file(const char* path, int flags, unsigned mode)
{
    const int descriptor = open(path, flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, mode);
    struct stat found = {};
    if (descriptor >= 0 && (fstat(descriptor, &found) != 0 || !S_ISREG(found.st_mode))) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

Text<64> fresh_path_of(const char* path, FileWriter::Mode mode)
{
    Text<64> fresh;
    if (mode == FileWriter::Mode::whole)
        fresh.print("%s.new", path);
    return fresh;
}

int open_for_writing(const char* path, const char* fresh_path, FileWriter::Mode mode)
{
    const int flags = O_WRONLY | O_CREAT;
    switch (mode) {
    case FileWriter::Mode::append:
        return open_regular_file(path, flags | O_APPEND, 0644);
    case FileWriter::Mode::replace:
        return open_regular_file(path, flags | O_TRUNC, 0644);
    case FileWriter::Mode::whole:
        break;
    }
    if (!FileDescriptor(path, flags).is_open()) // it could not be replaced either, or is a link to something else
        return -1;
    unlink(fresh_path);
    return open_regular_file(fresh_path, flags | O_EXCL, 0644);
}

} // namespace

FileDescriptor::FileDescriptor(const char* path, int flags, unsigned mode)
    : descriptor_(open_regular_file(path, flags, mode))
{
}

FileDescriptor::~FileDescriptor()
{
    if (descriptor_ >= 0)
        close(descriptor_);
}

bool FileDescriptor::write(const char* bytes, std::size_t length) const
{
    while (length > 0) {
        const ssize_t written = ::write(descriptor_, bytes, length);
        if (written <= 0)
            return false;
        bytes += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

Stream::Stream(const char* path) : file_(nullptr)
{
    const int descriptor = open_regular_file(path, O_RDONLY, 0);
    if (descriptor < 0)
        return;
    file_ = fdopen(descriptor, "r");
    if (file_ == nullptr)
        close(descriptor);
}

FileWriter::FileWriter(const char* path, Mode mode)
    : fresh_path_(fresh_path_of(path, mode)), file_(open_for_writing(path, fresh_path_, mode))
{
    path_ = path;
}

FileWriter::~FileWriter()
{
    flush();
    if (file_.is_open() && !fresh_path_.empty())
        unlink(fresh_path_); // it was not put in place
}

void FileWriter::put(const char* text)
{
    for (; *text != '\0'; ++text) {
        if (used_ == sizeof buffer_)
            flush();
        buffer_[used_++] = *text;
    }
}

void FileWriter::put_formatted(const char* format, ...)
{
    char piece[512];
    std::va_list values;
    va_start(values, format);
    print_values(piece, sizeof piece, format, values);
    va_end(values);
    put(piece);
}

void FileWriter::put_line(const char* text)
{
    put(text);
    put("\n");
}

void FileWriter::flush()
{
    if (file_.is_open() && !file_.write(buffer_, used_))
        complete_ = false;
    used_ = 0;
}

bool FileWriter::put_in_place()
{
    flush();
    if (!complete_ || std::rename(fresh_path_, path_) != 0)
        return false;
    fresh_path_.clear();
    return true;
}

int set_tmp_value(const char* path, const char* value)
{
    log_line("set_tmp_value", "%s[%s].", path, value);
    const FileDescriptor file(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file.is_open())
        return -1;
    file.write(value, std::strlen(value));
    return 1;
}

int get_tmp_value(const char* path, Text<64>& value)
{
    const Stream file(path);
    if (!file.is_open()) {
        value = "0";
        return 1;
    }
    char word[Text<64>::capacity];
    if (std::fscanf(file.get(), "%63s", word) == 1 && is_acceptable("get_tmp_value", path, word))
        value = word;
    return 1;
}

void remove_link(const char* path)
{
    struct stat found = {};
    const FileDescriptor file(open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (file.is_open() && fstat(file.number(), &found) == 0 && !S_ISREG(found.st_mode) && !S_ISDIR(found.st_mode))
        unlink(path);
}

void remove_fifo(const char* path)
{
    struct stat found = {};
    const FileDescriptor file(open(path, O_PATH | O_CLOEXEC));
    if (file.is_open() && fstat(file.number(), &found) == 0 && S_ISFIFO(found.st_mode))
        unlink(path);
}

bool is_folder_name(const char* name)
{
    return name[0] != '\0' && std::strchr(name, '/') == nullptr && std::strcmp(name, ".") != 0
           && std::strcmp(name, "..") != 0;
}

void write_ipv6_conf(const char* value, const char* if_name, const char* key)
{
    if (!is_folder_name(if_name)) {
        log_line("write_ipv6_conf", "%s is no interface name.", if_name);
        return;
    }
    Text<256> path;
    path.print("/proc/sys/net/ipv6/conf/%s/%s", if_name, key);
    const FileDescriptor file(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (file.is_open())
        file.write(value, std::strlen(value));
}
