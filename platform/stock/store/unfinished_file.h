// The file beside the store, `ccfg.db.new`, in which its next state is made ready. Whoever has it locked is the only
// one to change the store; the kernel releases the lock with its process. A file that a killed process has left behind
// is used again. Those who wait do so in their order, at the lock of the file `ccfg.db.lock`, which stays and is empty.
#pragma once

#include <sys/stat.h>

#include <string_view>

#include "store_file.h"

class UnfinishedFile {
public:
    // Opens the file beside the store `path`, waiting for other changes only. Returns 0 or an error.
    int open(const char* path);

    // Writes `contents` and gives the file the store's name, all of it on the disk when this returns 0. Owner and mode
    // become those of `like`, unless that is null. With `keep_as` the store's previous file gets that name beforehand.
    // After an error the store is as it was, or, when only the very last step failed, the new one.
    int publish(std::string_view contents, const struct stat* like, const char* keep_as);

    // Ends the change; removes the file unless it was published.
    void close();

    // The store's path with a symbolic link resolved: what is to be replaced.
    const char* target() const { return target_; }

private:
    int await_turn() const;
    int open_and_lock();
    int write(std::string_view contents, const struct stat* like) const;
    int sync_folder() const;

    int fd_ = -1;
    bool is_published_ = false;
    char target_[path_capacity] = {};
    char path_[path_capacity] = {};
};
