#include "device_query.h"

#include <algorithm>
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "files.h"
#include "log.h"
#include "outside_value.h"
#include "platform/common_library.h"
#include "shell.h"

namespace {

// The part that the four command queries share. `name` is the query. On failure `answer` is left as it was; so it is
// when the command's answer cannot be a name.
int ask(const char* name, const ShellLine& line, char* answer, int size)
{
    char output[64];
    const std::size_t room = std::min(static_cast<std::size_t>(size), sizeof output);
    if (shell_output(line, output, room) < 0) {
        log_line(name, "osSystem_GetOutput fail.");
        return -1;
    }
    utilStrTrimChar(output, " \t\r\n");
    if (is_acceptable(name, "the answer", output))
        copy_text(answer, room, output, std::strlen(output));
    return 1;
}

// The kernel takes at most 15 characters of a name.
ifreq request_for(const char* ifname)
{
    ifreq request = {};
    std::strncpy(request.ifr_name, ifname, IFNAMSIZ - 1);
    return request;
}

} // namespace

int get_wan_ifname(char* ifname, int size)
{
    if (ask("get_wan_ifname", ShellLine("wandataif.sh"), ifname, size) < 0)
        return -1;
    log_line("get_wan_ifname", "wandataif is [%s]", ifname);
    return 1;
}

int get_wan_sect(const char* ifname, char* sect, int size)
{
    if (ask("get_wan_sect", ShellLine("if2sect.sh %s", ifname), sect, size) < 0)
        return -1;
    log_line("get_wan_sect", "wan_sect is [%s]", sect);
    return 1;
}

int get_serial_number(char* serial, int size)
{
    if (ask("get_serial_number", ShellLine("uboot_env --get --name serial"), serial, size) < 0)
        return -1;
    log_line("get_serial_number", "SerialNumber is %s", serial);
    return 1;
}

int get_product_class(char* product_class, int size)
{
    if (ask("get_product_class", ShellLine("uboot_env --get --name hw_version"), product_class, size) < 0)
        return -1;
    log_line("get_product_class", "ProductClass is %s", product_class);
    return 1;
}

int get_ip4_addr(const char* ifname, char* address)
{
    if (ifname == nullptr || address == nullptr) {
        log_line("get_ip4_addr", "parameters error.");
        return -1;
    }
    const FileDescriptor socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket_.is_open()) {
        log_line("get_ip4_addr", "socket error.");
        return -1;
    }
    ifreq request = request_for(ifname);
    if (ioctl(socket_.number(), SIOCGIFADDR, &request) < 0) {
        log_line("get_ip4_addr", "ioctl SIOCGIFADDR error.");
        return -1;
    }
    sockaddr_in answer;
    std::memcpy(&answer, &request.ifr_addr, sizeof answer);
    inet_ntop(AF_INET, &answer.sin_addr, address, INET_ADDRSTRLEN);
    return 1;
}

int get_mac_addr(const char* ifname, char* mac)
{
    const FileDescriptor socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request = request_for(ifname);
    if (ioctl(socket_.number(), SIOCGIFHWADDR, &request) < 0) {
        log_line("get_mac_addr", "SIOCGIFHWADDR ioctl error.");
        return -1;
    }
    unsigned char octets[6];
    std::memcpy(octets, request.ifr_hwaddr.sa_data, sizeof octets);
    print_text(mac, 18, "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1], octets[2], octets[3], octets[4],
               octets[5]);
    log_line("get_mac_addr", "%s macaddr is [%s]", ifname, mac);
    return 1;
}
