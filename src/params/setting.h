// Text settings of the configuration store, read into bounded texts.
#pragma once

#include "frame/text.h"
#include "platform/config_store.h"

// Reads `key@sect`, cut to the text's capacity; `missing` when there is none.
template <std::size_t N>
void read_setting(int tid, const char* sect, const char* key, Text<N>& value, const char* missing = "")
{
    tesa_ccfg_get_str(tid, sect, key, value.data(), static_cast<int>(N), missing);
}
