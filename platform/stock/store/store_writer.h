// One durable change of the store.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

#include "memory_area.h"
#include "setting_name.h"
#include "snapshot.h"
#include "store_file.h"
#include "unfinished_file.h"

// What to do with a store that is damaged.
enum class Damaged { refuse, replace };

class StoreWriter {
public:
    StoreWriter() = default;
    ~StoreWriter() { abort(); }
    StoreWriter(const StoreWriter&) = delete;
    StoreWriter& operator=(const StoreWriter&) = delete;

    // Begins a change of the store at `path`; waits for other commits only. A store that is missing begins with the
    // settings of the file `ccfg.factory` in the same folder, or empty without that file. So does, with
    // Damaged::replace, the successor of a damaged one. A state that is `known` is not read again; it has to stay until
    // the change ends. Returns false after a message.
    bool begin(const char* path, Damaged damaged = Damaged::refuse, Snapshot* known = nullptr);

    // True when the commit will create the store.
    bool creates() const { return creates_; }

    // Sets or removes one setting. Returns false after a message.
    bool put(const SettingName& name, std::string_view value);
    bool remove(const SettingName& name);

    // Makes the change permanent, and writes nothing when nothing differs. Returns false after a message. Ends the
    // change either way. A damaged store that is replaced keeps its contents under the name `ccfg.db.damaged`, or
    // `ccfg.db.damaged.2` to `.9` when there is an older one; a message says so.
    bool commit();

    // Ends the change without a trace.
    void abort();

private:
    struct Change;

    bool fail(int error);
    bool put_factory_settings();
    bool note(std::string_view record, std::string_view value, bool is_removed);
    Change change_at(size_t index) const;
    size_t place_of(std::string_view record, bool& is_known) const;
    std::string_view merge(MemoryArea& area) const;
    bool publish(std::string_view contents);
    int choose_name_for_damaged(char (&name)[path_capacity]) const;

    const char* path_ = nullptr;
    UnfinishedFile unfinished_;
    StoreCopy own_copy_;
    const StoreCopy* stored_ = &own_copy_; // the state that the change began with: this or what was known
    bool creates_ = false;
    bool replaces_damaged_ = false;
    MemoryArea changes_; // each with its record and value behind it
    size_t changes_size_ = 0;
    MemoryArea index_; // their offsets, in the order of the records
    size_t count_ = 0;
};

// Creates the store when it is missing. Any number of processes may call it at once: one of them creates it, and nobody
// ever sees a part of it. Returns false after a message.
bool create_missing_store(const char* path);
