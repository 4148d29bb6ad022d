// The neighbor table: stored by an earlier run, and shown by the kernel.
#include "lan/neighbors.h"
#include "lan/neighbor_list.h"
#include "platform/config_store.h"
#include "support/device.h"

namespace {

std::string kernels_table;

void run(const Fields& fields)
{
    start_device();
    write_file("/tmp/.ip6_neigh", fields[0]);
    kernels_table = fields[1];
    shell_recorder().effect["ip -6 neigh show > /tmp/.ip6_neigh_show"] = [] {
        write_file("/tmp/.ip6_neigh_show", kernels_table);
    };
    int remaining = 0;
    run_program([&remaining] { remaining = zel_ip6neigh_update(test_tid); });

    const std::string stored = read_file("/tmp/.ip6_neigh");
    int lines = 0;
    for (const char c : stored)
        lines += c == '\n' ? 1 : 0;
    if (lines != remaining)
        finding(std::to_string(remaining) + " neighbors, but stored are " + std::to_string(lines));
}

} // namespace

const Target target = {file_separator,
                       {"3fff::10 dev br-lan lladdr 02:00:5e:10:00:10 uptime 1200\n"
                        "3fff::11 dev br-lan1 lladdr 02:00:5e:10:00:11 uptime 100\n",
                        "3fff::10 dev br-lan lladdr 02:00:5e:10:00:10 REACHABLE\n"
                        "fe80::12 dev br-lan lladdr 02:00:5e:10:00:12 router STALE\n3fff::13 dev ppp0  FAILED\n"},
                       run};
