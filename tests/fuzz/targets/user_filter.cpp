// The user's list of open services, and the values that shape the base ruleset.
#include "firewall/user_filter.h"
#include "firewall/filter_record.h"
#include "firewall/firewall.h"
#include "params/param_record.h"
#include "platform/config_store.h"
#include "support/device.h"

namespace {

int number_of(const std::string& text)
{
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

void run(const Fields& fields)
{
    start_device();
    parm.wan_sect = wan_section;
    set_setting("ip6_filter_list@wan100", fields[0]);
    set_setting("ip6_filter_cnt@wan100", fields[1]);
    parm.wan_ip6_proto = as_text(fields[2]).c_str();
    parm.wan_ifname = as_text(fields[3]).c_str();
    parm.wan_ip6_prefix = as_text(fields[4]).c_str();
    parm.wan_ip6_pfxlen = number_of(fields[5]);
    parm.lan_ip6_prefix = as_text(fields[6]).c_str();
    parm.lan_ip6_pfxlen = number_of(fields[7]);
    parm.delegate_prefix = as_text(fields[8]).c_str();
    parm.delegate_pfxlen = number_of(fields[9]);
    run_program([] { apply_ip6_firewall(test_tid); });
}

} // namespace

const Target target = {'\0',
                       {"web;3fff::10;tcp;80;80;udp;53;53/ftp;3fff::11/64;b;20;21;;;;/x;3fff::12;udp;1;65535;b;7;7",
                        "3", "dhcp", "ppp0", "3fff:0:1::", "64", "3fff:0:100:1::", "64", "3fff:0:100::", "56"},
                       run};
