#include "unfinished_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace {

constexpr mode_t file_mode = 0600;

int open_file(const char* path)
{
    return open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, file_mode);
}

int lock(int fd)
{
    struct flock request = {};
    request.l_type = F_WRLCK;
    request.l_whence = SEEK_SET;
    int result;
    do {
        result = fcntl(fd, F_OFD_SETLKW, &request);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

// False when who had the lock before has published or removed the file that is open.
bool has_name(int fd, const char* path)
{
    struct stat by_fd;
    struct stat by_path;
    return fstat(fd, &by_fd) == 0 && lstat(path, &by_path) == 0 && is_same_file(by_fd, by_path);
}

int resolve(const char* path, char (&target)[path_capacity])
{
    struct stat file;
    if (lstat(path, &file) == 0 && S_ISLNK(file.st_mode))
        return realpath(path, target) != nullptr ? 0 : errno;
    const int size = snprintf(target, sizeof target, "%s", path);
    return size >= 0 && static_cast<size_t>(size) < sizeof target ? 0 : ENAMETOOLONG;
}

} // namespace

int UnfinishedFile::open(const char* path)
{
    int error = resolve(path, target_);
    struct stat file;
    if (error == 0 && stat(target_, &file) == 0)
        error = file_kind_error(file); // only a file may be replaced
    if (error != 0)
        return error;
    const int size = snprintf(path_, sizeof path_, "%s.new", target_);
    if (size < 0 || static_cast<size_t>(size) >= sizeof path_)
        return ENAMETOOLONG;
    is_published_ = false;
    const int turn = await_turn();
    error = open_and_lock();
    if (turn >= 0)
        ::close(turn);
    return error;
}

// The next one to change the store has this lock, and those behind it wait for that in their order. Without it the
// changes would still be made one by one, but who is about to make a second one could overtake the others again and
// again. Returns a descriptor, or -1 when the file cannot be had: then only the order is lost.
int UnfinishedFile::await_turn() const
{
    char path[path_capacity];
    const int size = snprintf(path, sizeof path, "%s.lock", target_);
    if (size < 0 || static_cast<size_t>(size) >= sizeof path)
        return -1;
    const int fd = open_file(path);
    if (fd >= 0)
        lock(fd);
    return fd;
}

int UnfinishedFile::open_and_lock()
{
    for (;;) {
        fd_ = open_file(path_);
        if (fd_ < 0)
            return errno;
        const int error = lock(fd_);
        if (error == 0 && has_name(fd_, path_))
            return 0;
        ::close(fd_);
        fd_ = -1;
        if (error != 0)
            return error;
    }
}

int UnfinishedFile::write(std::string_view contents, const struct stat* like) const
{
    if (ftruncate(fd_, 0) != 0)
        return errno;
    if (like != nullptr) {
        struct stat own;
        if (fstat(fd_, &own) != 0)
            return errno;
        const bool has_other_owner = own.st_uid != like->st_uid || own.st_gid != like->st_gid;
        if (has_other_owner && fchown(fd_, like->st_uid, like->st_gid) != 0)
            return errno;
        if (fchmod(fd_, like->st_mode & 07777) != 0)
            return errno;
    }
    for (size_t done = 0; done < contents.size();) {
        const ssize_t written = pwrite(fd_, contents.data() + done, contents.size() - done, static_cast<off_t>(done));
        if (written < 0 && errno != EINTR)
            return errno;
        done += written > 0 ? static_cast<size_t>(written) : 0;
    }
    return fsync(fd_) == 0 ? 0 : errno;
}

int UnfinishedFile::sync_folder() const
{
    char folder[path_capacity];
    snprintf(folder, sizeof folder, "%s", target_);
    char* const slash = strrchr(folder, '/');
    if (slash != nullptr)
        slash[1] = '\0'; // the root's slash stays
    const int fd = ::open(slash != nullptr ? folder : ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int error = fsync(fd) == 0 || errno == EINVAL ? 0 : errno;
    ::close(fd);
    return error;
}

int UnfinishedFile::publish(std::string_view contents, const struct stat* like, const char* keep_as)
{
    int error = write(contents, like);
    if (error != 0)
        return error;
    if (keep_as != nullptr) {
        if (link(target_, keep_as) != 0)
            return errno;
        error = sync_folder();
        if (error != 0)
            return error;
    }
    if (rename(path_, target_) != 0)
        return errno;
    is_published_ = true;
    return sync_folder();
}

void UnfinishedFile::close()
{
    if (fd_ < 0)
        return;
    if (!is_published_)
        unlink(path_);
    ::close(fd_);
    fd_ = -1;
}
