#include "lan_dns.h"

DnsList lan_dns_servers(const LanSide& lan, const char* separator)
{
    DnsList list;
    if (!parm.ip6_dns1.empty()) {
        list = parm.ip6_dns1;
        if (!parm.ip6_dns2.empty()) {
            list.append(separator);
            list.append(parm.ip6_dns2);
        }
    } else if (!lan.ip6_ula_addr.empty() && lan.ip6_ula_eb == 1) {
        list = lan.ip6_ula_addr;
    } else {
        list = lan.ip6_addr;
    }
    return list;
}
