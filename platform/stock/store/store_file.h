// The store's file: where it is, and how it is read. It is never changed in place: a commit gives another file its name
// (unfinished_file.h), so that an open one stays as it is for as long as it is open.
#pragma once

#include <limits.h>
#include <stddef.h>
#include <sys/stat.h>

#include <string_view>

#include "memory_area.h"

inline constexpr size_t path_capacity = PATH_MAX;

// The file of this process: $TESA_STORE, or /etc/config/ccfg.db. Valid until the environment changes.
const char* store_path();

// What is wrong with a store: a number of errno, or one of these.
inline constexpr int damaged_store = -1;
inline constexpr int full_store = -2;
inline constexpr int no_file = -3; // a device, a pipe or the like

// Text for it, to be put behind the path.
const char* store_error(int error);

// One state of the store, read whole.
class StoreCopy {
public:
    // Reads the file `path` and checks every byte of it. Returns 0, or what is wrong, the copy being empty then.
    int read(const char* path);

    // True when `file` is the very file that was read, its contents unchanged. It cannot be taken for a newer one,
    // because it is kept open. Owner, mode and names of the copy's file are then those of `file`.
    bool recognize(const struct stat& file);

    // True when nothing was done to the file since it was recognized under its only name: neither to its contents nor
    // to its name. False also when its file system would not tell.
    bool is_untouched() const;

    // The settings as sorted text (settings_text.h); valid until the next read or release.
    std::string_view settings() const { return settings_; }

    bool is_empty() const { return !is_open_; }
    const struct stat& file() const { return file_; }
    void release();

private:
    int read_contents();

    bool is_open_ = false;
    bool can_be_watched_ = false;
    int fd_ = 0; // all zeros at first, so that an object of static life takes no room in the program's file
    struct stat file_ = {};
    MemoryArea area_;
    std::string_view settings_;
};

// 0 when `file` is an ordinary file, otherwise what is wrong.
int file_kind_error(const struct stat& file);

bool is_same_file(const struct stat& one, const struct stat& other);
