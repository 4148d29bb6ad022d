#include "dhcp6d.h"

#include <fcntl.h>
#include <unistd.h>

#include "frame/files.h"
#include "frame/outside_value.h"
#include "frame/shell.h"
#include "lan_dns.h"
#include "params/setting.h"

namespace {

constexpr char name[] = "start_dhcp6d";
constexpr char conf_path[] = "/tmp/dhcp6d.conf";
constexpr char lease_path[] = "/tmp/dhcp6d.leases";
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

bool fits(const char* what, const char* text)
{
    return fits_statement(name, conf_path, what, text);
}

void read_lifetimes(int tid, Lifetimes& l)
{
    read_setting(tid, parm.lan_sect, "ip6_dhcp_valid", l.valid);
    read_setting(tid, parm.lan_sect, "ip6_dhcp_prefer", l.prefer);
    read_setting(tid, parm.lan_sect, "ip6_dhcp_renew", l.renew);
    read_setting(tid, parm.lan_sect, "ip6_dhcp_rebind", l.rebind);
    read_setting(tid, parm.lan_sect, "ip6_dhcp_pref", l.pref);
}

// One statement of a word and a value, only when there is one.
void write_if_set(FileWriter& conf, const char* statement, const char* value)
{
    if (value[0] != '\0' && fits(statement, value))
        conf.line("%s %s;", statement, value);
}

void write_globals(FileWriter& conf, const Lifetimes& l)
{
    conf.line("dhcpv6-lease-file-name \"%s\";", lease_path);
    conf.line("dhcpv6-pid-file-name \"%s\";", pid_path);
    conf.line("server-duid LLT ethernet %d %s;", duid_time, parm.lan_mac_addr);
    conf.put_line("authoritative;");
    write_if_set(conf, "default-lease-time", l.valid);
    write_if_set(conf, "preferred-lifetime", l.prefer);
    write_if_set(conf, "option dhcp-renewal-time", l.renew);
    write_if_set(conf, "option dhcp-rebinding-time", l.rebind);
    if (!parm.wan_ip6_domain.empty() && fits("option dhcp6.domain-search", parm.wan_ip6_domain))
        conf.line("option dhcp6.domain-search \"%s\";", parm.wan_ip6_domain);
    write_if_set(conf, "option dhcp6.preference", l.pref);
    conf.put_line("option dhcp6.rapid-commit;");
}

// Opens the bridge's block; false when there is no prefix to serve.
bool open_subnet(FileWriter& conf, const LanSide& lan)
{
    if (parm.ip6_wan_ready == 1) {
        if (!fits("the global prefix", lan.ip6_prefix))
            return false;
        conf.line("subnet6 %s/%d {", lan.ip6_prefix, lan.ip6_pfxlen);
        return true;
    }
    if (lan.ip6_ula_eb != 1 || !fits("the unique-local global id", lan.ip6_ula_gid)
        || !fits("the unique-local subnet id", lan.ip6_ula_sid))
        return false;
    conf.line("subnet6 fd%s:%s::/64 {", lan.ip6_ula_gid, lan.ip6_ula_sid);
    return true;
}

void write_dhcp6_dns(FileWriter& conf, const LanSide& lan)
{
    write_if_set(conf, "option dhcp6.name-servers", lan_dns_servers(lan, ","));
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
    return FileDescriptor(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW).is_open();
}

} // namespace

int start_dhcp6d(int tid)
{
    Lifetimes lifetimes;
    read_lifetimes(tid, lifetimes);
    run_shell("cp -rf /usr/sbin/dhcpd /tmp/dhcp6d");
    {
        FileWriter conf(conf_path, FileWriter::Mode::replace);
        if (!conf.is_open())
            return -1;
        write_globals(conf, lifetimes);
        write_subnet(conf, lan0());
        write_subnet(conf, lan1());
    }
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
