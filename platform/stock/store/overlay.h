// What one transaction has changed and not yet committed.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string_view>

#include "setting_name.h"

// Keys that one transaction can touch between two commits.
inline constexpr size_t overlay_capacity = 320;

struct TouchedSetting {
    SettingName name;
    bool is_removed = false;
    uint16_t value_size = 0;
    char value_bytes[max_value] = {};

    std::string_view value() const { return {value_bytes, value_size}; }
};

class Overlay {
public:
    // Records a set or an unset. `value` must be within the limits. Returns false when there is no room for one more
    // key.
    bool set(const SettingName& name, std::string_view value);
    bool unset(const SettingName& name);

    // The last change of the key, or null when it was not touched.
    const TouchedSetting* find(const SettingName& name) const;

    std::span<const TouchedSetting> touched() const { return {settings_, count_}; }
    void clear() { count_ = 0; }

private:
    TouchedSetting* slot(const SettingName& name);

    size_t count_ = 0;
    TouchedSetting settings_[overlay_capacity];
};
