#include "resolver.h"

#include "frame/device_query.h"
#include "frame/files.h"
#include "frame/log.h"
#include "frame/outside_value.h"
#include "frame/pause.h"
#include "frame/shell.h"
#include "params/param_record.h"
#include "params/setting.h"
#include "platform/config_store.h"

namespace {

constexpr char name[] = "zel_resolv_update";
constexpr char resolv_path[] = "/tmp/resolv.conf.auto";

using Ip4Text = Text<16>;

template <std::size_t N>
Text<N> setting(int tid, const char* sect, const char* key)
{
    Text<N> value;
    read_setting(tid, sect, key, value);
    return value;
}

// Takes one word of the file. The first IPv4 address becomes `dns`, every later one `sdns`; IPv6 addresses before it
// are stored as `dns` and overwritten by it.
void take_server(int tid, char* word, bool& found_ip4)
{
    word[std::strlen(word) - 1] = '\0'; // the line end
    if (!is_acceptable(name, "a name server", word))
        return;
    Ip4Text server;
    server = word;
    tesa_ccfg_set_str(tid, parm.wan_sect, found_ip4 ? "sdns" : "dns", server);
    if (!found_ip4)
        found_ip4 = std::strchr(server, ':') == nullptr;
}

// Reads the file once. True when it held an IPv4 address.
bool harvest(int tid)
{
    Stream file(resolv_path);
    if (!file.is_open())
        return false;
    bool found_ip4 = false;
    for (char line[100]; file.read_line(line);) {
        char* rest = nullptr;
        for (char* word = strtok_r(line, " ", &rest); word != nullptr; word = strtok_r(nullptr, " ", &rest)) {
            if (std::strcmp(word, "nameserver") != 0 && std::strcmp(word, "127.0.0.1\n") != 0)
                take_server(tid, word, found_ip4);
        }
    }
    return found_ip4;
}

// The WAN link writes the file in its own time.
void harvest_patiently(int tid)
{
    constexpr int attempts = 5;
    for (int attempt = 1; !harvest(tid) && attempt < attempts; ++attempt)
        pause_ms(1000);
}

// Reads the first 1023 bytes of the file. False when it cannot be opened.
bool read_snapshot(char (&snapshot)[1024])
{
    const Stream file(resolv_path);
    if (!file.is_open())
        return false;
    snapshot[std::fread(snapshot, 1, sizeof snapshot - 1, file.get())] = '\0';
    return true;
}

void append_server(FileWriter& file, const char* snapshot, const char* server)
{
    if (std::strstr(snapshot, server) == nullptr)
        file.line("nameserver %s", server);
}

// The system's pair wins over the WAN's; the two are never mixed.
void append_ip6_servers(FileWriter& file, const char* snapshot, const char* wan_primary, const char* wan_secondary)
{
    const char* primary = parm.ip6_dns1;
    const char* secondary = parm.ip6_dns2;
    if (primary[0] == '\0') {
        primary = wan_primary;
        secondary = wan_secondary;
        if (primary[0] == '\0')
            return;
        my_printf("wan_ip6_dns1 is %s\n", primary);
    }
    append_server(file, snapshot, primary);
    if (secondary[0] != '\0')
        append_server(file, snapshot, secondary);
}

} // namespace

int zel_resolv_update(int tid)
{
    get_wan_ifname(parm.wan_ifname.data(), parm.wan_ifname.capacity);
    get_wan_sect(parm.wan_ifname, parm.wan_sect.data(), parm.wan_sect.capacity);
    harvest_patiently(tid);

    const AddressText wan_ip6_dns1 = setting<46>(tid, parm.wan_sect, "ip6_dns_primary");
    const AddressText wan_ip6_dns2 = setting<46>(tid, parm.wan_sect, "ip6_dns_secondary");
    my_printf("[zel_resolv_update] wan_ip6_dns1=%s, wan_ip6_dns2=%s, wan_ip4_dns1=%s, wan_ip4_dns2=%s, "
              "ipv4_lan_ip=%s\n",
              wan_ip6_dns1, wan_ip6_dns2, setting<16>(tid, parm.wan_sect, "dns"),
              setting<16>(tid, parm.wan_sect, "sdns"), setting<16>(tid, "lan0", "ip4addr"));
    my_printf("[zel_resolv_update] vlan7_ip4_dns1=%s, vlan7_ip4_dns2=%s, vlan8_ip4_dns1=%s, vlan8_ip4_dns2=%s\n",
              setting<16>(tid, "system", "vlan7_dns1"), setting<16>(tid, "system", "vlan7_dns2"),
              setting<16>(tid, "system", "vlan8_dns1"), setting<16>(tid, "system", "vlan8_dns2"));
    run_shell("/usr/sbin/resolv_update.sh SYSTEM");

    char snapshot[1024];
    if (!read_snapshot(snapshot))
        return -1;
    {
        FileWriter file(resolv_path, FileWriter::Mode::append);
        if (!file.is_open())
            return -1;
        append_ip6_servers(file, snapshot, wan_ip6_dns1, wan_ip6_dns2);
    }
    run_shell("dnsmasq_update.sh");
    run_shell("echo  zel_resolv_update restart dnsmasq. >/dev/console");
    run_shell("/etc/init.d/dnsmasq2 restart");
    return 1;
}
