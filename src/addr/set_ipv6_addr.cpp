#include "set_ipv6_addr.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <linux/ipv6.h>

#include "frame/files.h"
#include "frame/log.h"

int set_ipv6_addr(const char* if_name, const char* address, int pfxlen, int flag)
{
    constexpr char name[] = "set_ipv6_addr";
    my_printf("[set_ipv6_addr] if_name[%s] %s %d %d\n", if_name, address, pfxlen, flag);
    log_line(name, "if_name[%s] %s %d %d", if_name, address, pfxlen, flag);

    in6_ifreq request = {};
    request.ifr6_prefixlen = static_cast<unsigned>(pfxlen);
    inet_pton(AF_INET6, address, &request.ifr6_addr);
    const FileDescriptor socket_(socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket_.is_open()) {
        log_line(name, "socket error.");
        return -1;
    }
    ifreq index = {};
    std::strncpy(index.ifr_name, if_name, IFNAMSIZ - 1);
    ioctl(socket_.number(), SIOCGIFINDEX, &index);
    request.ifr6_ifindex = index.ifr_ifindex;

    if (flag == 1) {
        if (ioctl(socket_.number(), SIOCSIFADDR, &request) < 0) {
            log_line(name, "ioctl SIOCSIFADDR error.");
            return -1;
        }
    } else if (ioctl(socket_.number(), SIOCDIFADDR, &request) < 0) {
        log_line(name, "ioctl SIOCDIFADDR error.");
        return -1;
    }
    return 1;
}
