// One router-advertisement record of the kernel (its columns: platform/ra_records.h).
#pragma once

#include "frame/files.h"
#include "params/param_record.h"

using AddressGroups = char[8][5]; // eight groups of four hexadecimal digits

struct RaRecord {
    AddressGroups address = {};
    unsigned index = 0;
    unsigned plen = 0;
    unsigned scope = 0;
    unsigned address_flags = 0;
    unsigned if_probes = 0; // solicitations sent
    unsigned if_flags6 = 0;
    char devname[21] = {};
    AddressGroups router = {};

    static constexpr unsigned received = 0x20;
    static constexpr unsigned managed = 0x40;
    static constexpr unsigned other = 0x80;
    static constexpr unsigned dad_failed = 0x08; // of address_flags

    bool is_global() const { return (scope & 0xF0U) == 0; }
    bool has_advertisement() const { return (if_flags6 & (received | managed | other)) != 0; }
    bool has_router() const { return router[0][0] != '\0'; }
};

// Reads the next record; columns that a last, short line lacks keep the values of the record before. One with a control
// character in a column counts as absent, with a log line, and is passed over. False at the end.
bool read_ra_record(const Stream& file, RaRecord& record);

// The groups joined by colons.
AddressText joined(const AddressGroups& groups);

// The same as canonical text (RFC 5952); groups that make no address stay joined.
AddressText normalized(const AddressGroups& groups);
