// Makes an IPv6 address request in place of a program whose own does not reach the kernel (untranslated.c).
//
// ipv6_address add|del ADDRESS LENGTH INDEX      exit status: 0, or the kernel's errno
#include <arpa/inet.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <linux/ipv6.h>

int main(int argc, char** argv)
{
    struct in6_ifreq request = {0};
    if (argc != 5 || inet_pton(AF_INET6, argv[2], &request.ifr6_addr) != 1)
        return EIO;
    request.ifr6_prefixlen = (unsigned)strtoul(argv[3], NULL, 10);
    request.ifr6_ifindex = atoi(argv[4]);
    int fd = socket(AF_INET6, SOCK_DGRAM, 0);
    return ioctl(fd, strcmp(argv[1], "add") == 0 ? SIOCSIFADDR : SIOCDIFADDR, &request) == 0 ? 0 : errno;
}
