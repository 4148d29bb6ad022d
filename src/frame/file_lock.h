// A lock around building and loading a file, for invocations that overlap.
#pragma once

#include "text.h"

// Holds the record lock (fcntl(2), F_SETLKW) on the file `path`.lock from construction to destruction, which removes
// that file. The kernel releases the lock with its holder, however that ends; what the holder starts meanwhile does not
// inherit it. A process must not hold two locks of one path, nor open that lock file otherwise: closing it would
// release the lock.
//
// Waits for other holders, about `patience` seconds at most, then goes on without the lock, as it does when the lock
// file cannot be opened or locked; the log says so.
class FileLock {
public:
    static constexpr int usual_patience = 60; // seconds; a restart of a LAN takes a few

    explicit FileLock(const char* path, int patience = usual_patience);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    Text<64> lock_path_;
    int descriptor_ = -1; // -1 while it goes on without the lock
};
