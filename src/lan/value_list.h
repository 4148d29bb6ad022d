// Lists of values as the configuration files of the LAN daemons hold them.
#pragma once

#include "frame/text.h"

// True when `list` holds at least one value and `fits` is true for each of them. `separator` parts them; blanks around
// a value do not belong to it. An empty value counts only where the separator is not the blank.
template <class Fits>
bool every_value(const char* list, char separator, Fits fits)
{
    const char separators[] = {separator, '\0'};
    bool any = false;
    for (const char* at = list;; ++at) {
        const char* const end = at + std::strcspn(at, separators);
        at += std::strspn(at, " ");
        std::size_t length = at < end ? static_cast<std::size_t>(end - at) : 0;
        while (length > 0 && at[length - 1] == ' ')
            --length;
        if (length > 0 || separator != ' ') {
            Text<128> value;
            value.assign(at, length);
            if (value.was_cut() || !fits(value.c_str()))
                return false;
            any = true;
        }
        at = end;
        if (*at == '\0')
            return any;
    }
}
