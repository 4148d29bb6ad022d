// Text settings of the configuration store, read into bounded texts.
#pragma once

#include "frame/outside_value.h"
#include "frame/text.h"
#include "platform/config_store.h"

// Reads `key@sect`, cut to the text's capacity; `missing` when there is none. A value with a control character, which
// no store takes and a damaged one may hold, counts as missing; the log says so.
template <std::size_t N>
void read_setting(int tid, const char* sect, const char* key, Text<N>& value, const char* missing = "")
{
    tesa_ccfg_get_str(tid, sect, key, value.data(), static_cast<int>(N), missing);
    if (!is_acceptable("read_setting", key, value))
        value = missing;
}
