#include "prepare_parm.h"

#include "frame/log.h"
#include "frame/shell.h"
#include "load_values.h"
#include "platform/config_store.h"

namespace {

constexpr char name[] = "prepare_parm_lan1";

// As for LAN0, but without console lines.
void follow_global_id_mode(int tid, const LanSide& lan)
{
    if (lan.ip6_ula_manual_gid != 0) {
        run_shell("ccfg_cli set ip6_pre_manual_gid@lan1=1");
        return;
    }
    load_number(tid, name, lan.sect, "ip6_pre_manual_gid", lan.ip6_pre_manual_gid, nullptr);
    if (lan.ip6_pre_manual_gid == 1)
        tesa_ccfg_set_str(tid, lan.sect, "ip6_ula_gid", "");
    run_shell("ccfg_cli set ip6_pre_manual_gid@lan1=0");
}

} // namespace

void prepare_parm_lan1(int tid)
{
    LanSide lan = lan1();
    const char* const sect = lan.sect;
    load_text(tid, name, sect, "ip6_addr", lan.ip6_addr, "ip6_addr");
    load_text(tid, name, sect, "ip6_prefix", lan.ip6_prefix, "ip6_prefix");
    load_number(tid, name, sect, "ip6_pfxlen", lan.ip6_pfxlen, "ip6_pfxlen");
    load_text(tid, name, sect, "ip6_gua_hostid", lan.ip6_gua_hostid, nullptr);

    load_text(tid, name, sect, "ip6_gua_sid", lan.ip6_gua_sid, nullptr);
    repair_subnet_id(tid, name, sect, "ip6_gua_sid", lan.ip6_gua_sid, "02");
    log_line(name, "lan1_ip6_gua_sid(%s):%s", sect, lan.ip6_gua_sid);

    load_number(tid, name, sect, "ip6_ula_eb", lan.ip6_ula_eb, "ip6_ula_eb");
    load_number(tid, name, sect, "ip6_ula_manual_gid", lan.ip6_ula_manual_gid, "ip6_ula_manual_gid");
    follow_global_id_mode(tid, lan);
    load_text(tid, name, sect, "ip6_ula_gid", lan.ip6_ula_gid, "ip6_ula_gid");

    load_text(tid, name, sect, "ip6_ula_sid", lan.ip6_ula_sid, nullptr);
    repair_subnet_id(tid, name, sect, "ip6_ula_sid", lan.ip6_ula_sid, "02");
    widen_ula_subnet_id(lan.ip6_ula_sid);
    log_line(name, "ip6_ula_sid(%s):%s", sect, lan.ip6_ula_sid);

    load_text(tid, name, sect, "ip6_ula_hostid", lan.ip6_ula_hostid, nullptr);
    load_number(tid, name, sect, "ip6_gua_manual_hostid", lan.ip6_gua_manual_hostid, nullptr);
    load_number(tid, name, sect, "ip6_ula_manual_hostid", lan.ip6_ula_manual_hostid, nullptr);
    load_mac(lan);
    derive_host_ids(tid, lan);
    log_line(name, "lan1_ip6_gua_hostid(%s):%s", sect, lan.ip6_gua_hostid);
    log_line(name, "lan1_ip6_ula_hostid(%s):%s", sect, lan.ip6_ula_hostid);

    load_text(tid, name, sect, "ip6_ula_addr", lan.ip6_ula_addr, "ip6_ula_addr");
    load_number(tid, name, sect, "ip6_ula_prefer", lan.ip6_ula_prefer, "lan1_ip6_ula_prefer");
    load_number(tid, name, sect, "ip6_ula_valid", lan.ip6_ula_valid, "ip6_ula_valid");

    load_text(tid, name, "system", "ip6_dns1", parm.ip6_dns1, nullptr);
    log_line(name, "[%s] ip6_dns1(system):%s", sect, parm.ip6_dns1);
    load_text(tid, name, "system", "ip6_dns2", parm.ip6_dns2, nullptr);
    log_line(name, "[%s] ip6_dns2(system):%s", sect, parm.ip6_dns2);
}
