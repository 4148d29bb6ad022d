// DHCPv6 clients in the process list.
#pragma once

#include "frame/text.h"

struct ClientProcess {
    unsigned pid = 0;
    Text<8> arguments[6]; // cut to seven characters each

    bool is_ipv6() const;
};

// Reads one line of the process list: pid, two columns, "/usr/sbin/dhclient", arguments. Fields that the line does not
// supply are 0 or empty; so is an argument with a control character, and the log says so. The line has at most 255
// bytes.
ClientProcess parse_client_process(const char* line);
