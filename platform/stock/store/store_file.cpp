#include "store_file.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "store_format.h"

namespace {

constexpr char default_path[] = "/etc/config/ccfg.db";

bool is_same_time(const timespec& one, const timespec& other)
{
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

// File systems that count the names of an open file down to none; ext4 stands for ext2 and ext3 too. An overlay goes on
// to show a file of its lower layer as that has it, and one of another machine is not looked at each time.
constexpr uint32_t ubifs_magic = 0x24051905; // fs/ubifs/ubifs.h of the kernel
constexpr uint32_t counting_file_systems[] = {BTRFS_SUPER_MAGIC, EXT4_SUPER_MAGIC, F2FS_SUPER_MAGIC, JFFS2_SUPER_MAGIC,
                                              RAMFS_MAGIC,       TMPFS_MAGIC,      XFS_SUPER_MAGIC,  ubifs_magic};

bool counts_names(int fd)
{
    struct statfs system;
    if (fstatfs(fd, &system) != 0)
        return false;
    for (const uint32_t magic : counting_file_systems) {
        if (static_cast<uint32_t>(system.f_type) == magic)
            return true;
    }
    return false;
}

bool has_same_contents(const struct stat& one, const struct stat& other)
{
    return is_same_file(one, other) && one.st_size == other.st_size && is_same_time(one.st_mtim, other.st_mtim);
}

} // namespace

const char* store_path()
{
    const char* const chosen = getenv("TESA_STORE");
    return chosen != nullptr && chosen[0] != '\0' ? chosen : default_path;
}

const char* store_error(int error)
{
    switch (error) {
    case damaged_store:
        return "is damaged or is not a settings store; it is left as it is";
    case full_store:
        return "is full";
    case no_file:
        return "is not a file";
    default:
        return strerror(error);
    }
}

int file_kind_error(const struct stat& file)
{
    return S_ISREG(file.st_mode) ? 0 : S_ISDIR(file.st_mode) ? EISDIR : no_file;
}

bool is_same_file(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

int StoreCopy::read(const char* path)
{
    release();
    fd_ = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK); // a pipe in its place must not hold anybody up
    if (fd_ < 0)
        return errno;
    is_open_ = true;
    const int error = read_contents();
    if (error != 0)
        release();
    return error;
}

int StoreCopy::read_contents()
{
    if (fstat(fd_, &file_) != 0)
        return errno;
    can_be_watched_ = counts_names(fd_);
    if (const int error = file_kind_error(file_))
        return error;
    if (file_.st_size < static_cast<off_t>(store_head_size) || file_.st_size > static_cast<off_t>(store_capacity))
        return damaged_store;
    const auto size = static_cast<size_t>(file_.st_size);
    if (!area_.reserve(size + 1))
        return errno;
    size_t done = 0;
    ssize_t got;
    // One byte more than the file has: it must end there.
    while ((got = ::read(fd_, area_.data() + done, size + 1 - done)) != 0) {
        if (got < 0 && errno != EINTR)
            return errno;
        done += got > 0 ? static_cast<size_t>(got) : 0;
        if (done > size)
            return damaged_store;
    }
    return settings_of_store({area_.data(), done}, settings_) ? 0 : damaged_store;
}

bool StoreCopy::recognize(const struct stat& file)
{
    if (is_empty() || !has_same_contents(file, file_))
        return false;
    file_ = file;
    return true;
}

bool StoreCopy::is_untouched() const
{
    struct stat now;
    return can_be_watched_ && file_.st_nlink == 1 && fstat(fd_, &now) == 0 && has_same_contents(now, file_)
           && now.st_nlink == file_.st_nlink && is_same_time(now.st_ctim, file_.st_ctim);
}

void StoreCopy::release()
{
    if (is_open_)
        close(fd_);
    is_open_ = false;
    can_be_watched_ = false;
    area_.release();
    settings_ = {};
}
