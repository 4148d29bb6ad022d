// The store's file: where it is, how it is opened, how it comes into being.
#pragma once

#include <lmdb.h>

// The file of this process: $TESA_STORE, or /etc/config/ccfg.db. Valid until the environment changes.
const char* store_path();

// Opens the store for reading, and creates it first when there is none: with the settings of the file `ccfg.factory`
// in the same folder, or empty without that file. Writes nothing to a store that exists. Returns null, after a message,
// when it cannot be opened or created. To be closed with mdb_env_close.
MDB_env* open_store();

// Opens the file `path` of a store with LMDB's `flags`. Returns 0 or LMDB's error; `env` is null then.
int open_store_env(const char* path, unsigned int flags, MDB_env*& env);

// Creates the store when it is missing or an empty file. Returns false after a message. Any number of processes may
// call it at once: one of them creates it, in a file beside it that gets its name when it is whole and on the disk.
bool create_missing_store(const char* path);

// Number of the newest committed state.
size_t newest_state(MDB_env* env);

// False when the file ends before its contents do, as after an interrupted copy.
bool is_whole(MDB_env* env);

// Text for an error of LMDB or of the system.
const char* store_error(int error);
