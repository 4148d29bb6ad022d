// The newest committed settings, as one process sees them.
//
// They are read once for every state of the store that the process meets. Until another process commits, a read costs
// a look at the open file and a search in memory; it takes no lock and waits for nobody.
#pragma once

#include <sys/stat.h>

#include <string_view>

#include "store_file.h"

class Snapshot {
public:
    // True when the store at `path` has the state of the copy.
    bool is_newest(const char* path);

    // Reads the store at `path` when it has another state than the copy. Returns false, after one message for each
    // such file, when that cannot be had; an older copy then stays.
    bool refresh(const char* path);

    const StoreCopy& copy() const { return copy_; }

    // Looks up the setting kept as `record`; the value is valid until the next refresh.
    bool find(std::string_view record, std::string_view& value) const;

    // All settings as sorted text (settings_text.h).
    std::string_view settings() const { return copy_.settings(); }

    void clear();

private:
    StoreCopy copy_;
    bool was_recognized_ = false; // the copy's file was seen under the store's name
    struct stat refused_ = {};
};
