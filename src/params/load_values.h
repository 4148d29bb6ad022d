// The steps that the loaders of both LANs share.
#pragma once

#include "frame/log.h"
#include "lan_side.h"
#include "setting.h"

// Reads one setting, with "" or 0 as the answer for a missing key, and logs it under `name` as "label(section):value".
// A null label logs nothing.
void load_number(int tid, const char* name, const char* sect, const char* key, int& value, const char* label,
                 long missing = 0);

template <std::size_t N>
void load_text(int tid, const char* name, const char* sect, const char* key, Text<N>& value, const char* label,
               const char* missing = "")
{
    read_setting(tid, sect, key, value, missing);
    if (label != nullptr)
        log_line(name, "%s(%s):%s", label, sect, value);
}

// Brings a subnet id to two characters: a shorter one gets a leading "0", a longer one becomes `repair`, in the store
// too, with a console line under `name`.
void repair_subnet_id(int tid, const char* name, const char* sect, const char* key, AddressText& id,
                      const char* repair);

// Puts "00" before the two characters of a unique-local subnet id.
void widen_ula_subnet_id(AddressText& id);

// Reads the bridge's MAC and its octets; octets that cannot be read keep their value.
void load_mac(LanSide& lan);

// Replaces the host identifiers that are not set by hand by the one of the bridge's MAC, and stores them.
void derive_host_ids(int tid, LanSide& lan);
