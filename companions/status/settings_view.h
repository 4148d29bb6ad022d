// The store, only looked at: unlike a transaction, reading this way creates no missing store.
#pragma once

#include <string_view>

#include "frame/text.h"
#include "store_file.h"

class SettingsView {
public:
    // Reads the store. Returns null, or why it cannot be read; every setting is missing then.
    const char* open();
    void close() { copy_.release(); }

    // True when the last open found a store that an import replaces: a missing or a damaged one.
    bool can_be_replaced() const { return can_be_replaced_; }

    // The value, cut to the text's capacity; the empty text when it is missing.
    template <size_t N>
    Text<N> text(const char* section, const char* key) const
    {
        Text<N> value;
        const std::string_view found = find(section, key);
        value.assign(found.data() != nullptr ? found.data() : "", found.size());
        return value;
    }

    // The number as strtol(3) reads it.
    long number(const char* section, const char* key, long missing = 0) const;

private:
    std::string_view find(const char* section, const char* key) const;

    StoreCopy copy_;
    bool can_be_replaced_ = false;
};
