#include "look.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "child_output.h"
#include "small_file.h"

namespace {

// One word of a device's script; the empty text when it says nothing usable.
Text<32> asked(const char* script, const char* argument, const char*& fault)
{
    char output[64];
    const char* const words[] = {script, argument, nullptr};
    if (const char* const failure = child_output(words, output, sizeof output))
        fault = failure;
    Text<32> answer;
    const char* const start = output + strspn(output, " \t\r\n");
    answer.assign(start, strcspn(start, " \t\r\n"));
    return answer;
}

} // namespace

void Look::take()
{
    read_kernel_tables(kernel);
    store_fault = settings.open();
    wan_fault = nullptr;
    wan_ifname.clear();
    wan_sect.clear();
    ip6_ready = settings.number("system", "ip6_wan_ready") == 1;
    if (store_fault != nullptr) {
        // The stock scripts ask the store's tool, which would create a missing store.
        wan_fault = "the store cannot be read";
        return;
    }
    wan_ifname = asked("wandataif.sh", nullptr, wan_fault);
    wan_sect = asked("if2sect.sh", wan_ifname, wan_fault);
}

const char* link_state(const char* ifname)
{
    if (if_nametoindex(ifname) == 0)
        return nullptr;
    const int any = socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request = {};
    copy_text(request.ifr_name, sizeof request.ifr_name, ifname, strlen(ifname));
    const bool known = any >= 0 && ioctl(any, SIOCGIFFLAGS, &request) == 0;
    if (any >= 0)
        close(any);
    if (!known)
        return "unknown";
    if ((request.ifr_flags & IFF_UP) == 0)
        return "down";
    return (request.ifr_flags & IFF_RUNNING) != 0 ? "up" : "no carrier";
}

long kernel_setting(const char* ifname, const char* name, long missing)
{
    Text<128> path;
    path.print("/proc/sys/net/ipv6/conf/%s/%s", ifname, name);
    char text[32];
    return !path.was_cut() && read_small_file(path, text, sizeof text) > 0 ? strtol(text, nullptr, 10) : missing;
}

bool is_dhcp(const Look& look)
{
    const Text<16> proto = look.settings.text<16>(look.wan_sect, "ip6_proto");
    return proto.empty() || strncmp(proto, "dhcp", 4) == 0; // the program's default
}

const char* wan_start(const Look& look)
{
    const char* const state = link_state(look.wan_ifname);
    if (state == nullptr || strcmp(state, "up") != 0)
        return "";
    return is_dhcp(look) ? "dhcp6c_start" : "wan6c_restart";
}

const char* lan_restart(const Look& look)
{
    return look.ip6_ready ? "ipv6_lan_restart" : "zel_ipv6_lan lan";
}

const char* firewall_load(const Look& look)
{
    return look.ip6_ready ? lan_restart(look) : wan_start(look);
}

bool has_address(const Look& look, const char* ifname, const in6_addr& address, KernelAddress* found)
{
    const unsigned index = if_nametoindex(ifname);
    for (const KernelAddress& each : look.kernel.addresses) {
        if (index == 0 || each.index != index || !is_same(each.address, address))
            continue;
        if (found != nullptr)
            *found = each;
        return true;
    }
    return false;
}

Text<46> canonical(const in6_addr& address)
{
    Text<46> text;
    inet_ntop(AF_INET6, &address, text.data(), text.capacity);
    return text;
}

Text<32> duration(long long seconds)
{
    Text<32> text;
    const long all = seconds < 0 ? 0 : static_cast<long>(seconds);
    if (all < 60)
        text.print("%lds", all);
    else if (all < 3600)
        text.print("%ldm %02lds", all / 60, all % 60);
    else if (all < 86400)
        text.print("%ldh %02ldm", all / 3600, all % 3600 / 60);
    else
        text.print("%ldd %02ldh", all / 86400, all % 86400 / 3600);
    return text;
}
