// One durable change of the store's file.
#pragma once

#include <lmdb.h>

#include <string_view>

#include "setting_name.h"

class StoreWriter {
public:
    StoreWriter() = default;
    ~StoreWriter() { abort(); }
    StoreWriter(const StoreWriter&) = delete;
    StoreWriter& operator=(const StoreWriter&) = delete;

    // Opens the store at `path` for one change; waits for other commits only. Returns false after a message.
    bool begin(const char* path);

    // The same in a new file that nobody else uses; its commit writes the file even without a setting.
    bool begin_new(const char* path);

    // Sets or removes one setting; does nothing when that would change nothing. Returns false after a message.
    bool put(const SettingName& name, std::string_view value);
    bool remove(const SettingName& name);

    // Makes the change permanent, and writes nothing when nothing differs. Returns false after a message; the store
    // is then as it was. Ends the change either way.
    bool commit();

    // Ends the change without a trace.
    void abort();

private:
    bool open_transaction();
    bool fail(int error);

    const char* path_ = nullptr;
    MDB_env* env_ = nullptr;
    MDB_txn* txn_ = nullptr;
    MDB_dbi table_ = 0;
    bool differs_ = false;
    bool is_new_ = false;
};
