// The text of router-advertisement records, and of the kernel's files that they are made of.
#pragma once

#include <stddef.h>

#include <optional>
#include <string_view>

#include "advertised_state.h"

// One line of /proc/net/if_inet6; the texts point into the line.
struct AddressLine {
    std::string_view address; // 32 hexadecimal digits
    unsigned int index;
    std::string_view prefix_length;
    std::string_view scope;
    std::string_view flags;
    std::string_view interface;
};

// Longest record, line end and terminator included.
inline constexpr size_t record_capacity = 160;

// Splits a line of /proc/net/if_inet6. Returns nothing for a line of another form.
std::optional<AddressLine> parse_address_line(std::string_view line);

// Reads one line of /proc/net/dev_snmp6/<interface>. Returns the number of solicitations sent when it has that.
std::optional<unsigned long> parse_solicitations(std::string_view line);

// Writes the record of one address, with its line end and a terminator, into `record`. `state` is null for an interface
// of which nothing is known. An interface whose router cannot be told counts as one without an advertisement, since a
// reader takes whatever the router column holds for a router's address. Returns the record's length.
size_t format_record(const AddressLine& line, const InterfaceState* state, unsigned long solicitations,
                     char (&record)[record_capacity]);
