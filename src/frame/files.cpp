#include "files.h"

#include <fcntl.h>
#include <unistd.h>

#include "log.h"

namespace {

// A name that leads to one folder and nowhere else.
bool is_folder_name(const char* name)
{
    return name[0] != '\0' && std::strchr(name, '/') == nullptr && std::strcmp(name, ".") != 0
           && std::strcmp(name, "..") != 0;
}

} // namespace

FileDescriptor::FileDescriptor(const char* path, int flags) : descriptor_(open(path, flags | O_CLOEXEC, 0644))
{
}

FileDescriptor::~FileDescriptor()
{
    if (descriptor_ >= 0)
        close(descriptor_);
}

void FileDescriptor::write(const char* bytes, std::size_t length) const
{
    while (length > 0) {
        const ssize_t written = ::write(descriptor_, bytes, length);
        if (written <= 0)
            return;
        bytes += written;
        length -= static_cast<std::size_t>(written);
    }
}

Stream::Stream(const char* path) : file_(nullptr)
{
    const int descriptor = open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        return;
    file_ = fdopen(descriptor, "r");
    if (file_ == nullptr)
        close(descriptor);
}

FileWriter::FileWriter(const char* path, Mode mode)
    : file_(path, O_WRONLY | O_CREAT | O_NOFOLLOW | (mode == Mode::append ? O_APPEND : O_TRUNC))
{
}

void FileWriter::put(const char* text)
{
    for (; *text != '\0'; ++text) {
        if (used_ == sizeof buffer_)
            flush();
        buffer_[used_++] = *text;
    }
}

void FileWriter::put_line(const char* text)
{
    put(text);
    put("\n");
}

void FileWriter::flush()
{
    if (file_.is_open())
        file_.write(buffer_, used_);
    used_ = 0;
}

int set_tmp_value(const char* path, const char* value)
{
    log_line("set_tmp_value", "%s[%s].", path, value);
    const FileDescriptor file(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW);
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
    if (std::fscanf(file.get(), "%63s", word) == 1)
        value = word;
    return 1;
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
