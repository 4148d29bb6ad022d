#include "lease_values.h"

#include "frame/address_text.h"
#include "params/param_record.h"
#include "platform/config_store.h"

int prefix_mode(int tid)
{
    return to_int(tesa_ccfg_get_long(tid, "system", "ip6_dhcp6c_prefix_mode", PREFERRED_PREFIX));
}

void reset_wan_address(int tid)
{
    tesa_ccfg_unset(tid, parm.wan_sect, "ip6_addr");
    tesa_ccfg_unset(tid, parm.wan_sect, "ip6_prefix");
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_pfxlen", "0");
}

void reset_wan_domain_and_servers(int tid, bool with_servers)
{
    tesa_ccfg_unset(tid, parm.wan_sect, "ip6_domain");
    if (!with_servers)
        return;
    tesa_ccfg_unset(tid, parm.wan_sect, "ip6_dns");
    tesa_ccfg_unset(tid, parm.wan_sect, "ip6_dns_primary");
    tesa_ccfg_unset(tid, parm.wan_sect, "ip6_dns_secondary");
}

void reset_wan_times_and_prefix(int tid, int mode)
{
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_lease", "0");
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_life", "0");
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_renew", "0");
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_rebind", "0");
    tesa_ccfg_unset(tid, parm.wan_sect, "ip6_sntp");
    if (mode == RANDOM_PREFIX) {
        tesa_ccfg_unset(tid, "system", "ip6_dhcp6c_prefix_addr");
        tesa_ccfg_unset(tid, "system", "ip6_dhcp6c_prefix_length");
    }
}

void reset_wan_lease(int tid, int mode)
{
    reset_wan_address(tid);
    reset_wan_domain_and_servers(tid, true);
    reset_wan_times_and_prefix(tid, mode);
}
