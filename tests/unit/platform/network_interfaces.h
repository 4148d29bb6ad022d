// The kernel's interfaces as a test has them, behind socket(2) and ioctl(2).
#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

struct NetworkInterface {
    int index = 0;
    std::string ip4; // empty: none
    std::array<unsigned char, 6> mac = {};
};

struct NetworkInterfaces {
    std::map<std::string, NetworkInterface> by_name;
    std::vector<std::string> requests; // "add ADDRESS/LENGTH INDEX" and "del ...", also refused ones
    bool refuses_addresses = false;
    bool refuses_sockets = false;
};

NetworkInterfaces& network_interfaces();
