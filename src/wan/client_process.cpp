#include "client_process.h"

#include <cstdio>

#include "frame/outside_value.h"

bool ClientProcess::is_ipv6() const
{
    return std::strncmp(arguments[0], "-6", 2) == 0 || std::strncmp(arguments[1], "-6", 2) == 0;
}

ClientProcess parse_client_process(const char* line)
{
    using Word = char[256];
    ClientProcess process;
    Word column[2];
    Word words[6] = {};
    static_cast<void>(std::sscanf(line, "%5u %255s %255s /usr/sbin/dhclient %255s %255s %255s %255s %255s %255s",
                                  &process.pid, column[0], column[1], words[0], words[1], words[2], words[3], words[4],
                                  words[5]));
    for (std::size_t i = 0; i < 6; ++i) {
        if (is_acceptable("parse_client_process", "an argument of the running client", words[i]))
            process.arguments[i] = words[i];
    }
    return process;
}
