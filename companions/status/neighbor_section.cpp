#include <arpa/inet.h>
#include <net/if.h>
#include <stdio.h>
#include <sys/sysinfo.h>

#include "lan/neighbor_list.h"
#include "sections.h"
#include "small_file.h"

namespace {

constexpr char stored_path[] = "/tmp/.ip6_neigh";
constexpr int most_shown = 64;

bool is_known_to_kernel(const Look& look, const Neighbor& neighbor)
{
    in6_addr address = {};
    if (inet_pton(AF_INET6, neighbor.address, &address) != 1)
        return false;
    const unsigned index = if_nametoindex(neighbor.device);
    for (const KernelNeighbor& each : look.kernel.neighbors) {
        if (each.index == index && is_same(each.address, address))
            return true;
    }
    return false;
}

void report_neighbor(Report& report, const Look& look, const Neighbor& n, long uptime)
{
    const long long ago = uptime - n.last_seen;
    const bool gone = look.kernel.neighbors.is_known && !is_known_to_kernel(look, n);
    report
        .add("neighbor", "%s dev %s lladdr %02x:%02x:%02x:%02x:%02x:%02x, seen %s ago%s", n.address.c_str(),
             n.device.c_str(), static_cast<unsigned>(n.lladdr[0]), static_cast<unsigned>(n.lladdr[1]),
             static_cast<unsigned>(n.lladdr[2]), static_cast<unsigned>(n.lladdr[3]), static_cast<unsigned>(n.lladdr[4]),
             static_cast<unsigned>(n.lladdr[5]), duration(ago).c_str(), gone ? ", gone from the kernel" : "")
        .seconds(ago);
}

} // namespace

void report_neighbors(Report& report, const Look& look)
{
    static char text[1024 * 1024];
    report.section("neighbors");
    if (read_small_file(stored_path, text, sizeof text) < 0)
        text[0] = '\0';
    struct sysinfo facts;
    const long uptime = sysinfo(&facts) == 0 ? static_cast<long>(facts.uptime) : 0;
    int count = 0;
    for (char* line = text; *line != '\0';) {
        const size_t length = strcspn(line, "\n");
        const bool last = line[length] == '\0';
        line[length] = '\0';
        Neighbor neighbor;
        if (length < 512 && parse_neighbor(line, neighbor) == 9 && ++count <= most_shown)
            report_neighbor(report, look, neighbor, uptime);
        line += length + (last ? 0 : 1);
    }
    report.add_more("neighbors", count - most_shown);
    report.add("count", "%d", count);
}
