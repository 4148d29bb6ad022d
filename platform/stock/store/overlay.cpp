#include "overlay.h"

#include <string.h>

const TouchedSetting* Overlay::find(const SettingName& name) const
{
    for (const TouchedSetting& setting : touched()) {
        if (setting.name.record() == name.record())
            return &setting;
    }
    return nullptr;
}

TouchedSetting* Overlay::slot(const SettingName& name)
{
    if (const TouchedSetting* const known = find(name))
        return &settings_[known - settings_];
    if (count_ == overlay_capacity)
        return nullptr;
    TouchedSetting& added = settings_[count_++];
    added.name = name;
    return &added;
}

bool Overlay::set(const SettingName& name, std::string_view value)
{
    TouchedSetting* const setting = slot(name);
    if (setting == nullptr)
        return false;
    setting->is_removed = false;
    setting->value_size = static_cast<uint16_t>(value.size());
    if (!value.empty())
        memcpy(setting->value_bytes, value.data(), value.size());
    return true;
}

bool Overlay::unset(const SettingName& name)
{
    TouchedSetting* const setting = slot(name);
    if (setting == nullptr)
        return false;
    setting->is_removed = true;
    setting->value_size = 0;
    return true;
}
