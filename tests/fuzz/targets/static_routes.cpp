// The routes of extra subnets: their ids and gateways, and the neighbor table in which the gateways are looked up.
#include "lan/static_routes.h"
#include "params/prepare_parm.h"
#include "platform/config_store.h"
#include "support/device.h"

namespace {

std::string kernels_table;

void run(const Fields& fields)
{
    start_device();
    kernels_table = fields[0];
    shell_recorder().effect["/usr/sbin/ip -6 neigh show > /tmp/ip6_rt"] = [] {
        write_file("/tmp/ip6_rt", kernels_table);
    };
    for (std::size_t i = 0; i < 3; ++i) {
        const std::string number = std::to_string(i + 1);
        shell_recorder().output["ccfg_cli get extra_sid_" + number + "@system"] = as_text(fields[1 + 2 * i]);
        shell_recorder().output["ccfg_cli get extra_gateway_" + number + "@system"] = as_text(fields[2 + 2 * i]);
    }
    set_setting("ip6_extra_sid@system", fields[7]);
    set_setting("ip6_pre_routing_prefix@system", fields[8]);
    set_setting("add_static_route@system", "1");
    set_setting("num_extra_routes@system", "3");
    set_setting("ip6_dhcp6c_prefix_addr@system", "3fff:0:100::");
    run_program([] {
        prepare_parm(test_tid);
        set_static_route6(test_tid);
    });
}

} // namespace

const Target target = {file_separator,
                       {"fe80::10 dev br-lan lladdr 02:00:5e:10:00:10 REACHABLE\n"
                        "fe80::11 dev br-lan1 lladdr 02:00:5e:10:00:11 STALE\n",
                        "0a\n", "fe80::10\n", "b\n", "fe80::11\n", "01\n", "fe80::12\n", "0c;0d", "3fff:0:1:0"},
                       run};
