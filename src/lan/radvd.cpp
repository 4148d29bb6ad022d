#include "radvd.h"

#include "daemon_locks.h"
#include "frame/address_text.h"
#include "frame/files.h"
#include "frame/outside_value.h"
#include "frame/pause.h"
#include "frame/shell.h"
#include "lan_dns.h"
#include "params/setting.h"
#include "platform/config_store.h"
#include "radvd_grammar.h"

namespace {

constexpr char name[] = "start_radvd";
constexpr const char* conf_path = radvd_conf_path;
constexpr char no_prefix[] = "it is no IPv6 prefix";

bool fits(const char* what, const char* text, bool taken, const char* why)
{
    return fits_grammar(name, conf_path, what, text, taken, why);
}

using Seconds = Text<20>;

// An empty text stands for the default.
bool fits_lifetime(const char* key, const Seconds& seconds)
{
    return seconds.empty() || fits(key, seconds, is_radvd_seconds(seconds), "it is no number of seconds");
}

// The stored text, or `missing` seconds when there is none.
void write_lifetime(FileWriter& conf, const char* statement, const Seconds& seconds, int missing)
{
    if (seconds.empty())
        conf.line("%s %d;", statement, missing);
    else
        conf.line("%s %s;", statement, seconds);
}

// radvd refuses a preferred lifetime above the valid one, so that neither is left to its default alone.
void write_global_lifetimes(FileWriter& conf, int tid)
{
    Seconds preferred;
    Seconds valid;
    read_setting(tid, parm.wan_sect, "ip6_lease", preferred);
    read_setting(tid, parm.wan_sect, "ip6_life", valid);
    const bool preferred_fits = fits_lifetime("ip6_lease", preferred);
    if (!fits_lifetime("ip6_life", valid) || !preferred_fits)
        return;
    write_lifetime(conf, "AdvPreferredLifetime", preferred, 86400);
    write_lifetime(conf, "AdvValidLifetime", valid, 604800);
}

void write_ula_lifetimes(FileWriter& conf, const LanSide& lan)
{
    if (lan.ip6_ula_prefer < 0 || lan.ip6_ula_valid < 0) {
        say_left_out(name, conf_path, "a lifetime of the unique-local prefix", "it is negative");
        return;
    }
    conf.line("AdvPreferredLifetime %d;", lan.ip6_ula_prefer != 0 ? lan.ip6_ula_prefer : 604800);
    conf.line("AdvValidLifetime %d;", lan.ip6_ula_valid != 0 ? lan.ip6_ula_valid : 1814400);
}

void write_prefix_options(FileWriter& conf)
{
    conf.put_line("AdvOnLink on;");
    conf.put_line("AdvAutonomous on;");
    conf.put_line("AdvRouterAddr off;");
}

void write_ula_prefix(FileWriter& conf, const LanSide& lan)
{
    if (lan.ip6_ula_eb != 1 || lan.ip6_ula_addr.empty())
        return;
    Text<128> prefix;
    prefix.print("%02X%s:%s::", 0xFDU, lan.ip6_ula_gid, lan.ip6_ula_sid);
    if (!fits("the unique-local prefix", prefix, is_radvd_prefix(prefix, lan.ip6_pfxlen), no_prefix))
        return;
    conf.line("prefix %s/%d {", prefix, lan.ip6_pfxlen);
    write_prefix_options(conf);
    write_ula_lifetimes(conf, lan);
    conf.put_line("};");
}

void write_global_prefix(FileWriter& conf, int tid, const LanSide& lan)
{
    if (parm.ip6_wan_ready != 1)
        return;
    const bool taken = lan.ip6_prefix.empty() || is_radvd_prefix(lan.ip6_prefix, lan.ip6_pfxlen);
    if (!fits("the global prefix", lan.ip6_prefix, taken, no_prefix))
        return;
    conf.line("prefix %s/%d {", lan.ip6_prefix, lan.ip6_pfxlen);
    write_prefix_options(conf);
    write_global_lifetimes(conf, tid);
    conf.put_line("DeprecatePrefix on;");
    conf.put_line("};");
    run_shell("vorn_syslog_cli addEventCode -1 ME104 %s/%d", lan.ip6_prefix, lan.ip6_pfxlen);
}

// The RDNSS and DNSSL options (RFC 8106). Without configured servers the bridge itself, where the forwarder listens.
void write_rdnss_dnssl(FileWriter& conf, const LanSide& lan)
{
    const DnsList servers = lan_dns_servers(lan, " ");
    if (!servers.empty()
        && fits("the name servers", servers, is_radvd_server_list(servers),
                "they are no one to three IPv6 addresses")) {
        conf.line("RDNSS %s", servers);
        conf.put_line("{");
        conf.line("AdvRDNSSLifetime %d;", 600);
        conf.put_line("};");
    }
    const auto& domains = parm.wan_ip6_domain;
    if (!domains.empty()
        && fits("the domain list", domains, is_radvd_domain_list(domains), "radvd takes no such domain")) {
        conf.line("DNSSL %s", domains);
        conf.put_line("{");
        conf.line("AdvDNSSLLifetime %d;", 600);
        conf.put_line("};");
    }
}

void write_link_mtu(FileWriter& conf, int tid)
{
    const int mtu = to_int(tesa_ccfg_get_long(tid, parm.wan_sect, "mtu", 1492));
    if (mtu < 0)
        say_left_out(name, conf_path, "mtu", "it is negative");
    else
        conf.line("AdvLinkMTU %d;", mtu);
}

void write_interface(FileWriter& conf, int tid, const LanSide& lan)
{
    conf.line("interface %s {", lan.ifname);
    conf.put_line("AdvSendAdvert on;");
    write_link_mtu(conf, tid);
    conf.line("AdvCurHopLimit %d;", 255);
    conf.line("MinRtrAdvInterval %d;", 20);
    conf.line("MaxRtrAdvInterval %d;", 60);
    conf.put_line("AdvDefaultPreference medium;");
    conf.put_line("AdvHomeAgentFlag off;");
    conf.put_line("AdvManagedFlag off;");
    conf.put_line("AdvOtherConfigFlag on;");
    write_ula_prefix(conf, lan);
    write_global_prefix(conf, tid, lan);
    write_rdnss_dnssl(conf, lan);
    conf.put_line("};");
}

} // namespace

int start_radvd(int tid)
{
    FileWriter conf(conf_path, FileWriter::Mode::whole);
    if (!conf.is_open())
        return -1;
    write_interface(conf, tid, lan0());
    write_interface(conf, tid, lan1());
    if (!conf.put_in_place())
        return -1;
    run_shell("radvd -C /tmp/radvd.conf &");
    return 1;
}

int stop_radvd()
{
    run_shell("killall radvd; rm -f /tmp/run/radvd.pid");
    if (parm.wan_on_demand == 0)
        write_ipv6_conf("0", "all", "forwarding");
    pause_ms(800);
    return 1;
}
