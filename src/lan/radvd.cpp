#include "radvd.h"

#include "frame/files.h"
#include "frame/outside_value.h"
#include "frame/pause.h"
#include "frame/shell.h"
#include "lan_dns.h"
#include "params/setting.h"
#include "platform/config_store.h"

namespace {

constexpr char name[] = "start_radvd";
constexpr char conf_path[] = "/tmp/radvd.conf";

bool fits(const char* what, const char* text)
{
    return fits_statement(name, conf_path, what, text);
}

// "AdvPreferredLifetime" and its like: the stored text, or `missing` seconds when there is none.
void write_lifetime(FileWriter& conf, int tid, const char* key, const char* statement, int missing)
{
    Text<20> seconds;
    read_setting(tid, parm.wan_sect, key, seconds);
    if (seconds.empty())
        conf.line("%s %d;", statement, missing);
    else if (fits(key, seconds))
        conf.line("%s %s;", statement, seconds);
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
    if (!fits("the unique-local global id", lan.ip6_ula_gid) || !fits("the unique-local subnet id", lan.ip6_ula_sid))
        return;
    conf.line("prefix %02X%s:%s::/%d {", 0xFDU, lan.ip6_ula_gid, lan.ip6_ula_sid, lan.ip6_pfxlen);
    write_prefix_options(conf);
    conf.line("AdvPreferredLifetime %d;", lan.ip6_ula_prefer != 0 ? lan.ip6_ula_prefer : 604800);
    conf.line("AdvValidLifetime %d;", lan.ip6_ula_valid != 0 ? lan.ip6_ula_valid : 1814400);
    conf.put_line("};");
}

void write_global_prefix(FileWriter& conf, int tid, const LanSide& lan)
{
    if (parm.ip6_wan_ready != 1 || !fits("the global prefix", lan.ip6_prefix))
        return;
    conf.line("prefix %s/%d {", lan.ip6_prefix, lan.ip6_pfxlen);
    write_prefix_options(conf);
    write_lifetime(conf, tid, "ip6_lease", "AdvPreferredLifetime", 86400);
    write_lifetime(conf, tid, "ip6_life", "AdvValidLifetime", 604800);
    conf.put_line("DeprecatePrefix on;");
    conf.put_line("};");
    run_shell("vorn_syslog_cli addEventCode -1 ME104 %s/%d", lan.ip6_prefix, lan.ip6_pfxlen);
}

// The RDNSS and DNSSL options (RFC 8106). Without configured servers the bridge itself, where the forwarder listens.
void write_rdnss_dnssl(FileWriter& conf, const LanSide& lan)
{
    const DnsList servers = lan_dns_servers(lan, " ");
    if (!servers.empty() && fits("the name servers", servers)) {
        conf.line("RDNSS %s", servers);
        conf.put_line("{");
        conf.line("AdvRDNSSLifetime %d;", 600);
        conf.put_line("};");
    }
    if (!parm.wan_ip6_domain.empty() && fits("the domain list", parm.wan_ip6_domain)) {
        conf.line("DNSSL %s", parm.wan_ip6_domain);
        conf.put_line("{");
        conf.line("AdvDNSSLLifetime %d;", 600);
        conf.put_line("};");
    }
}

void write_interface(FileWriter& conf, int tid, const LanSide& lan)
{
    conf.line("interface %s {", lan.ifname);
    conf.put_line("AdvSendAdvert on;");
    conf.line("AdvLinkMTU %d;", static_cast<int>(tesa_ccfg_get_long(tid, parm.wan_sect, "mtu", 1492)));
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
    {
        FileWriter conf(conf_path, FileWriter::Mode::replace);
        if (!conf.is_open())
            return -1;
        write_interface(conf, tid, lan0());
        write_interface(conf, tid, lan1());
    }
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
