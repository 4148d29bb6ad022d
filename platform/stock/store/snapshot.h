// The newest committed settings, copied out of the store's file.
//
// The copy is what makes reading free of locks: it is made once for every state of the store that the process sees,
// and until another process commits, a read costs a look at the file's state number and a search in memory.
#pragma once

#include <lmdb.h>
#include <stddef.h>
#include <stdint.h>

#include <string_view>

struct StoredSetting {
    std::string_view record; // "key@section="
    std::string_view value;
};

class Snapshot {
public:
    // Copies the settings when the store has a newer state than the copy. Returns false after a message.
    bool refresh(MDB_env* env);

    // Looks up the setting kept as `record`; the value is valid until the next refresh.
    bool find(std::string_view record, std::string_view& value) const;

    // The settings in the byte order of their records.
    size_t size() const { return count_; }
    StoredSetting at(size_t index) const;

    void clear();

private:
    int copy(MDB_txn* txn);

    char* area_ = nullptr; // own memory mapping: the offsets of the settings, then the settings
    size_t area_size_ = 0;
    size_t count_ = 0;
    size_t state_ = 0;
    bool valid_ = false;
};
