// Router-advertisement records as the kernel, and through it a router on the link, fills them.
#include "frame/shell.h"
#include "platform/config_store.h"
#include "support/device.h"
#include "wan/dhcp6c_events.h"
#include "wan/waninfo.h"

namespace {

constexpr char records[] = "/proc/net/if_flags6";
constexpr char last_word[] =
    "fe800000000000000000000000000001 05 40 20 80 03 00000000 ppp0 00000000000000000000000000000000\n";

std::string judged_name;

// The detection waits for a record of its interface; the second look finds one.
void let_the_kernel_answer()
{
    std::string line = last_word;
    line.replace(line.find(wan), sizeof wan - 1, judged_name);
    write_file(records, line);
}

void run(const Fields& fields)
{
    start_device();
    parm.wan_ip6_proto = "dhcp";
    parm.wan_sect = wan_section;
    parm.wan_ifname = wan;
    parm.lan_mac_addr = "02:00:5e:10:00:01";
    parm.wan_ip6_duid_type = 3;
    judged_name = wan;
    write_file(records, fields[0]);
    shell_recorder().output["cat /proc/sys/net/ipv6/conf/ppp0/router_solicitations"] = as_text(fields[1]);
    shell_recorder().effect["ps | grep dhclient > /tmp/ps_dhcp6c_s.txt"] = [] {
        write_file("/tmp/ps_dhcp6c_s.txt", "");
    };
    run_program([] {
        at_next_pause(let_the_kernel_answer);
        waninfo_main(test_tid);
    });

    // The look for a duplicate reads the same records another way.
    write_file(records, fields[0]);
    setenv("reason", "EFFECT6", 1);
    setenv("interface", wan, 1);
    setenv("stateless", "0", 1);
    set_setting("ip6_changed@wan100", "1");
    set_setting("ip6_stateless@wan100", "1");
    parm.wan_ip6_addr = "2001:db8::2";
    run_program([] { dhcp6c_main(test_tid); });
}

} // namespace

const Target target = {
    file_separator,
    {"20010db8000000000000000000000002 05 40 00 80 01 000000b0 ppp0 fe800000000000000000000000000001\n"
     "fe800000000000000000000000000002 05 40 20 80 01 000000b0 ppp0 fe800000000000000000000000000001\n",
     "3\n"},
    run};
