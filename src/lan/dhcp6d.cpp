#include "dhcp6d.h"

#include <fcntl.h>
#include <unistd.h>

#include "daemon_locks.h"
#include "dhcpd_grammar.h"
#include "frame/files.h"
#include "frame/outside_value.h"
#include "frame/shell.h"
#include "lan_dns.h"
#include "params/setting.h"

namespace {

constexpr char name[] = "start_dhcp6d";
constexpr const char* conf_path = dhcp6d_conf_path;
constexpr char server_path[] = "/tmp/dhcp6d";
constexpr char lease_path[] = "/tmp/dhcp6d.leases";
constexpr char no_prefix[] = "it is no IPv6 prefix";
constexpr char pid_path[] = "/var/run/dhcp6d.pid";

// A fixed time in the server's DUID-LLT (RFC 8415, section 11.2), so that it stays the same across restarts.
constexpr int duid_time = 378691200;

// The texts of section lan0; they hold for both LANs.
struct Lifetimes {
    Text<16> valid;
    Text<16> prefer;
    Text<16> renew;
    Text<16> rebind;
    Text<16> pref;
};

bool fits(const char* what, const char* text, bool taken, const char* why)
{
    return fits_grammar(name, conf_path, what, text, taken, why);
}

void read_lifetimes(int tid, Lifetimes& l)
{
    read_setting(tid, parm.lan_sect, "ip6_dhcp_valid", l.valid);
    read_setting(tid, parm.lan_sect, "ip6_dhcp_prefer", l.prefer);
    read_setting(tid, parm.lan_sect, "ip6_dhcp_renew", l.renew);
    read_setting(tid, parm.lan_sect, "ip6_dhcp_rebind", l.rebind);
    read_setting(tid, parm.lan_sect, "ip6_dhcp_pref", l.pref);
}

// One statement of a word and a number, only when there is one.
void write_number(FileWriter& conf, const char* statement, const char* value, bool (*taken)(const char*))
{
    if (value[0] != '\0' && fits(statement, value, taken(value), "dhcpd takes no such number"))
        conf.line("%s %s;", statement, value);
}

void write_globals(FileWriter& conf, const Lifetimes& l)
{
    conf.line("dhcpv6-lease-file-name \"%s\";", lease_path);
    conf.line("dhcpv6-pid-file-name \"%s\";", pid_path);
    conf.line("server-duid LLT ethernet %d %s;", duid_time, parm.lan_mac_addr);
    conf.put_line("authoritative;");
    write_number(conf, "default-lease-time", l.valid, is_dhcpd_lease_time);
    write_number(conf, "preferred-lifetime", l.prefer, is_dhcpd_lease_time);
    write_number(conf, "option dhcp-renewal-time", l.renew, is_dhcpd_number);
    write_number(conf, "option dhcp-rebinding-time", l.rebind, is_dhcpd_number);
    const auto& domain = parm.wan_ip6_domain;
    if (!domain.empty() && fits("option dhcp6.domain-search", domain, is_dhcpd_domain(domain), "it is no domain"))
        conf.line("option dhcp6.domain-search \"%s\";", domain);
    write_number(conf, "option dhcp6.preference", l.pref, is_dhcpd_octet);
    conf.put_line("option dhcp6.rapid-commit;");
}

// Opens the bridge's block; false when there is no prefix to serve.
bool open_subnet(FileWriter& conf, const LanSide& lan)
{
    if (parm.ip6_wan_ready == 1) {
        const bool taken = lan.ip6_prefix.empty() || is_dhcpd_subnet(lan.ip6_prefix, lan.ip6_pfxlen);
        if (!fits("the global prefix", lan.ip6_prefix, taken, no_prefix))
            return false;
        conf.line("subnet6 %s/%d {", lan.ip6_prefix, lan.ip6_pfxlen);
        return true;
    }
    if (lan.ip6_ula_eb != 1)
        return false;
    Text<128> prefix;
    prefix.print("fd%s:%s::", lan.ip6_ula_gid, lan.ip6_ula_sid);
    if (!fits("the unique-local prefix", prefix, is_dhcpd_subnet(prefix, 64), no_prefix))
        return false;
    conf.line("subnet6 %s/64 {", prefix);
    return true;
}

void write_dhcp6_dns(FileWriter& conf, const LanSide& lan)
{
    const DnsList servers = lan_dns_servers(lan, ",");
    if (!servers.empty()
        && fits("option dhcp6.name-servers", servers, is_dhcpd_server_list(servers), "they are no IPv6 addresses"))
        conf.line("option dhcp6.name-servers %s;", servers);
}

void write_subnet(FileWriter& conf, const LanSide& lan)
{
    if (!open_subnet(conf, lan))
        return;
    write_dhcp6_dns(conf, lan);
    conf.put_line("}");
    conf.put_line("");
}

bool create(const char* path)
{
    return FileDescriptor(path, O_WRONLY | O_APPEND | O_CREAT).is_open();
}

} // namespace

int start_dhcp6d(int tid)
{
    Lifetimes lifetimes;
    read_lifetimes(tid, lifetimes);
    remove_link(server_path);
    run_shell("cp -rf /usr/sbin/dhcpd /tmp/dhcp6d");
    FileWriter conf(conf_path, FileWriter::Mode::whole);
    if (!conf.is_open())
        return -1;
    write_globals(conf, lifetimes);
    write_subnet(conf, lan0());
    write_subnet(conf, lan1());
    if (!conf.put_in_place())
        return -1;
    if (!create(lease_path) || !create(pid_path))
        return -1;
    run_shell("/tmp/dhcp6d -6 -cf %s&", conf_path);
    return 1;
}

int stop_dhcp6d()
{
    unlink(conf_path);
    unlink(lease_path);
    run_shell("killall dhcp6d");
    return 1;
}
