#include "settings_view.h"

#include <errno.h>
#include <stdlib.h>

#include "settings_text.h"

const char* SettingsView::open()
{
    const int error = copy_.read(store_path());
    can_be_replaced_ = error == ENOENT || error == damaged_store;
    if (error == ENOENT)
        return "there is no store yet";
    return error == 0 ? nullptr : store_error(error);
}

std::string_view SettingsView::find(const char* section, const char* key) const
{
    Text<140> record;
    record.print("%s@%s=", key, section);
    std::string_view value;
    if (copy_.is_empty() || record.was_cut() || !find_setting(copy_.settings(), record.c_str(), value))
        return {};
    return value;
}

long SettingsView::number(const char* section, const char* key, long missing) const
{
    const Text<32> value = text<32>(section, key);
    return value.empty() ? missing : strtol(value, nullptr, 10);
}
