#include "static_routes.h"

#include <cstdio>
#include <strings.h>
#include <unistd.h>

#include "frame/files.h"
#include "frame/log.h"
#include "frame/outside_value.h"
#include "frame/shell.h"
#include "params/param_record.h"
#include "params/setting.h"
#include "platform/config_store.h"

namespace {

constexpr char name[] = "set_static_route6";
constexpr char neighbors_path[] = "/tmp/ip6_rt";

using IdList = Text<128>;

// One line of the neighbor table; outlives a line, so that what a line does not supply keeps its value.
struct RouteNeighbor {
    AddressText address;
    Text<32> device;
};

void cut_at_line_end(AddressText& text)
{
    text.data()[std::strcspn(text, "\n")] = '\0';
}

// Takes the answer as the store's tool prints it, line end included. One with a control character in its first line
// counts as absent.
void read_entry(const char* key, int number, AddressText& value)
{
    value.clear();
    shell_output(ShellLine("ccfg_cli get %s_%d@system", key, number), value.data(), value.capacity);
    AddressText first_line = value;
    cut_at_line_end(first_line);
    if (!is_acceptable(name, key, first_line))
        value.clear();
}

bool same_id(const char* a, const char* b)
{
    return strcasecmp(a, b) == 0;
}

bool repeats_earlier_entry(int number)
{
    for (int earlier = number - 1; earlier >= 1; --earlier) {
        AddressText id;
        read_entry("extra_sid", earlier, id);
        if (same_id(id, parm.extra_sid))
            return true;
    }
    return false;
}

void pad_subnet_id(AddressText& id)
{
    if (id.length() >= 2)
        return;
    AddressText padded{"0"};
    padded.append(id);
    id = padded;
}

void note_installed(IdList& installed, const char* id)
{
    IdList longer = installed;
    if (!longer.empty())
        longer.append(";");
    longer.append(id);
    if (longer.was_cut())
        log_line(name, "subnet-id %s does not fit into ip6_extra_sid@system and is left out of it.", id);
    else
        installed = longer;
}

// The unique-local ids are held in four digits, so that only the global ones can be met.
bool is_used_by_a_bridge(const char* id)
{
    return same_id(id, parm.lan_ip6_gua_sid) || same_id(id, parm.lan_ip6_ula_sid) || same_id(id, parm.lan1_ip6_gua_sid)
           || same_id(id, parm.lan1_ip6_ula_sid);
}

void parse_route_neighbor(const char* line, RouteNeighbor& neighbor)
{
    using Word = char[256];
    Word address;
    Word device;
    const int fields = std::sscanf(line, "%255s dev %255s", address, device);
    if (fields >= 1)
        neighbor.address = address;
    if (fields >= 2)
        neighbor.device = device;
}

// Leaves in `neighbor.device` the device on which the gateway is a neighbor, empty when it is none.
void find_gateway(RouteNeighbor& neighbor)
{
    unlink(neighbors_path);
    run_shell("/usr/sbin/ip -6 neigh show > %s", neighbors_path);
    Stream file(neighbors_path);
    if (!file.is_open())
        return;
    for (char line[256]; file.read_line(line);) {
        if (is_acceptable_line(name, "a line of the neighbor table", line)) {
            parse_route_neighbor(line, neighbor);
            if (neighbor.address.equals(parm.extra_gateway))
                return;
        }
        neighbor.device.clear();
    }
}

// Installs one entry. False when it has to go.
bool install(int number, IdList& installed, RouteNeighbor& neighbor)
{
    read_entry("extra_sid", number, parm.extra_sid);
    bool taken = repeats_earlier_entry(number);
    if (!taken) {
        cut_at_line_end(parm.extra_sid);
        pad_subnet_id(parm.extra_sid);
        taken = parm.extra_sid.equals("0");
    }
    if (!taken) {
        note_installed(installed, parm.extra_sid);
        taken = is_used_by_a_bridge(parm.extra_sid);
    }
    if (taken) {
        console_line(name, "Duplicate subnet-id %s", parm.extra_sid);
        return false;
    }

    read_entry("extra_gateway", number, parm.extra_gateway);
    cut_at_line_end(parm.extra_gateway);
    find_gateway(neighbor);
    if (neighbor.device.empty()) {
        console_line(name, "No such device matches the gateway address:%s ", parm.extra_gateway);
        return false;
    }
    run_shell("/usr/sbin/ip -6 route add %s%s::/%d via %s dev %s", parm.routing_prefix, parm.extra_sid,
              parm.lan_ip6_pfxlen, parm.extra_gateway, neighbor.device);
    return true;
}

void remove_entry(int number)
{
    run_shell("ccfg_cli unset extra_sid_%d@system", number);
    run_shell("ccfg_cli unset extra_gateway_%d@system", number);
}

} // namespace

void set_static_route6(int tid)
{
    IdList installed;
    RouteNeighbor neighbor;
    if (!parm.pre_routing_prefix.empty())
        flush_static_routes6(tid);
    else
        tesa_ccfg_set_str(tid, "system", "ip6_pre_routing_prefix", parm.routing_prefix);
    for (int number = 1; number <= parm.num_extra_routes; ++number) {
        if (!install(number, installed, neighbor))
            remove_entry(number);
    }
    tesa_ccfg_set_str(tid, "system", "ip6_extra_sid", installed);
}

void flush_static_routes6(int tid)
{
    IdList ids;
    read_setting(tid, "system", "ip6_extra_sid", ids);
    if (ids.empty()) {
        console_line("flush_static_routes6", "ERROR: ip6_extra_sid@system is empty");
        return;
    }
    char* rest = nullptr;
    for (const char* id = strtok_r(ids.data(), ";", &rest); id != nullptr; id = strtok_r(nullptr, ";", &rest))
        run_shell("/usr/sbin/ip -6 route flush %s%s::/%d", parm.pre_routing_prefix, id, parm.lan_ip6_pfxlen);
}
