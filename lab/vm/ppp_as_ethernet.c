// Lets the stock DHCP programs run on a PPP interface, which they refuse for its kind ("Unsupported device type 512")
// although DHCPv6 needs nothing of it but its link-local address. The client of a real device has no such limit.
//
// Loaded before them (LD_PRELOAD), this shows a PPP interface as Ethernet with the made-up address 02:50:50:50:00:00.
// What is sent and received stays as it is.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <stdarg.h>
#include <string.h>
#include <sys/ioctl.h>

int ioctl(int fd, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);

    int (*const real)(int, unsigned long, ...) = (int (*)(int, unsigned long, ...))dlsym(RTLD_NEXT, "ioctl");
    const int result = real(fd, request, argument);
    if (result == 0 && request == SIOCGIFHWADDR) {
        struct sockaddr* const address = &((struct ifreq*)argument)->ifr_hwaddr;
        if (address->sa_family == ARPHRD_PPP) {
            address->sa_family = ARPHRD_ETHER;
            memcpy(address->sa_data, "\x02PPP\0\0", 6);
        }
    }
    return result;
}
