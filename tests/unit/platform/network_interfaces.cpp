#include "platform/network_interfaces.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <linux/ipv6.h>

namespace {

int refuse(int why)
{
    errno = why;
    return -1;
}

int change_address(const char* what, const in6_ifreq& request)
{
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, &request.ifr6_addr, text, sizeof text);
    network_interfaces().requests.push_back(std::string(what) + " " + text + "/"
                                            + std::to_string(static_cast<int>(request.ifr6_prefixlen)) + " "
                                            + std::to_string(request.ifr6_ifindex));
    return network_interfaces().refuses_addresses ? refuse(ENODEV) : 0;
}

int answer(unsigned long request, ifreq& asked)
{
    const auto found = network_interfaces().by_name.find(asked.ifr_name);
    if (found == network_interfaces().by_name.end())
        return refuse(ENODEV);
    const NetworkInterface& interface = found->second;
    switch (request) {
    case SIOCGIFINDEX:
        asked.ifr_ifindex = interface.index;
        return 0;
    case SIOCGIFHWADDR:
        std::memcpy(asked.ifr_hwaddr.sa_data, interface.mac.data(), interface.mac.size());
        return 0;
    case SIOCGIFADDR: {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        if (inet_pton(AF_INET, interface.ip4.c_str(), &address.sin_addr) != 1)
            return refuse(EADDRNOTAVAIL);
        std::memcpy(&asked.ifr_addr, &address, sizeof address);
        return 0;
    }
    default:
        return refuse(EINVAL);
    }
}

} // namespace

NetworkInterfaces& network_interfaces()
{
    static NetworkInterfaces interfaces;
    return interfaces;
}

extern "C" {

int __real_open(const char* path, int flags, ...);

int __wrap_socket(int, int, int)
{
    return network_interfaces().refuses_sockets ? refuse(EMFILE) : __real_open("/dev/null", O_RDWR | O_CLOEXEC);
}

int __wrap_ioctl(int, unsigned long request, ...)
{
    std::va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    if (network_interfaces().refuses_sockets)
        return refuse(EBADF);
    if (request == SIOCSIFADDR)
        return change_address("add", *static_cast<const in6_ifreq*>(argument));
    if (request == SIOCDIFADDR)
        return change_address("del", *static_cast<const in6_ifreq*>(argument));
    return answer(request, *static_cast<ifreq*>(argument));
}
}
