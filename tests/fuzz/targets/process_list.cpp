// The process list, from which running DHCPv6 clients are known, and their process id file.
#include "platform/config_store.h"
#include "support/device.h"
#include "wan/client_process.h"
#include "wan/dhcp6c.h"

namespace {

std::string listed;

void run(const Fields& fields)
{
    start_device();
    parm.wan_sect = wan_section;
    parm.wan_ifname = wan;
    parm.lan_mac_addr = "02:00:5e:10:00:01";
    parm.wan_ip6_duid_type = 3;
    listed = fields[0];
    shell_recorder().effect["ps | grep dhclient > /tmp/ps_dhcp6c_s.txt"] = [] {
        write_file("/tmp/ps_dhcp6c_s.txt", listed);
    };
    shell_recorder().effect["ps | grep dhclient > /tmp/ps_dhcp6c.txt"] = [] {
        write_file("/tmp/ps_dhcp6c.txt", listed);
    };
    write_file("/var/run/dhcp6c-wan.pid", fields[1]);
    set_setting("ip6_dhcp6c_rebind_instead_of_solicit@wan100", fields[2]);
    run_program([] { restart_dhcp6c(test_tid, ASK_ADDR_INFO); });

    // Only IPv6 clients go: a `kill` needs a line of the list that names one.
    std::size_t kills = 0;
    for (const std::string& line : shell_recorder().lines) {
        if (line.rfind("kill ", 0) != 0)
            continue;
        ++kills;
        if (line.find_first_not_of("0123456789", 5) != std::string::npos)
            finding("not a process id: " + line);
    }
    std::size_t clients = 0;
    for (std::size_t at = listed.find("/usr/sbin/dhclient"); at != std::string::npos;
         at = listed.find("/usr/sbin/dhclient", at + 1))
        ++clients;
    if (kills > clients)
        finding("more processes are killed than clients are listed");
}

} // namespace

const Target target = {file_separator,
                       {" 1234 root      2264 /usr/sbin/dhclient -6 -P -d -q -nw -cf /tmp/dhcp6c-wan.conf -sf "
                        "/usr/sbin/zel_dhcp6c_update\n"
                        "  777 root      1208 grep dhclient\n",
                        "1234\n", "0"},
                       run};
