#include "binding.h"

#include "advertised_servers.h"
#include "frame/address_text.h"
#include "frame/log.h"
#include "frame/shell.h"
#include "lease_values.h"
#include "params/param_record.h"
#include "platform/config_store.h"

namespace {

constexpr char name[] = "dhcp6c_main";

struct Granted {
    ClientValue host_name{"new_dhcp6_host_name"};
    ClientValue domain_name{"new_dhcp6_domain_name"};
    ClientValue address{"new_ip6_address"};
    ClientValue prefix{"new_ip6_prefix"};
    ClientValue prefixlen{"new_ip6_prefixlen"};
    ClientValue name_servers{"new_dhcp6_name_servers"};
    ClientValue sntp_servers{"new_dhcp6_sntp_servers"};
    ClientValue domain_search{"new_dhcp6_domain_search"};
    ClientValue preferred_life{"new_preferred_life"};
    ClientValue max_life{"new_max_life"};
    ClientValue renew{"new_renew"};
    ClientValue rebind{"new_rebind"};
};

template <class... A>
void say(FormatFor<A...> format, const A&... values)
{
    Text<1024> text;
    text.print(format, values...);
    my_printf("[dhcp6c_main] %s\n", text);
    log_line(name, "%s", text);
}

void report(const Granted& g)
{
    say("ip6 = %s delegate = %s prefixlen = %s", g.address.text(), g.prefix.text(), g.prefixlen.text());
    say("hostname = %s, domainname = %s", g.host_name.text(), g.domain_name.text());
    say("dns = %s, domain_search = %s, preferr_life = %s valid_life = %s", g.name_servers.text(),
        g.domain_search.text(), g.preferred_life.text(), g.max_life.text());
    say("sntp_servers = %s, ia_renew = %s, ia_rebind=%s", g.sntp_servers.text(), g.renew.text(), g.rebind.text());
}

bool differs(int tid, const char* sect, const char* key, const char* text)
{
    return tesa_ccfg_cmp_str(tid, sect, key, text) != 0;
}

// Takes a WAN text into the record and the store. Returns whether it was new.
template <std::size_t N>
bool take(int tid, const char* key, Text<N>& variable, const Text<N>& value)
{
    if (!differs(tid, parm.wan_sect, key, value))
        return false;
    variable = value;
    tesa_ccfg_set_str(tid, parm.wan_sect, key, variable);
    return true;
}

bool store_domain(int tid, const Granted& g)
{
    const ClientValue& given = g.domain_search.given() ? g.domain_search : g.domain_name;
    if (!given.given())
        return false;
    std::size_t length = std::strlen(given.value);
    if (length >= 2 && given.value[length - 1] == '.')
        --length;
    Text<128> domain;
    domain.assign(given.value, length);
    return take(tid, "ip6_domain", parm.wan_ip6_domain, domain);
}

void store_if_new(int tid, const char* key, const ClientValue& given)
{
    if (given.given() && differs(tid, parm.wan_sect, key, given.value))
        tesa_ccfg_set_str(tid, parm.wan_sect, key, given.value);
}

bool store_name_servers(int tid, const ClientValue& given)
{
    if (!given.given()) {
        get_rdnssd_dns(tid); // servers learned from advertisements instead
        return false;
    }
    Text<256> list;
    list = given.value;
    const char* const blank = std::strchr(list, ' ');
    const char* const rest = blank != nullptr ? blank + 1 : "";
    AddressText primary;
    primary.assign(list, blank != nullptr ? static_cast<std::size_t>(blank - list.c_str()) : list.length());
    AddressText secondary;
    const char* const word = rest + std::strspn(rest, " ");
    secondary.assign(word, std::strcspn(word, " "));

    log_line(name, "@@dns = %s, pri_namesvr = %s, snd_namesvr = %s", list, primary, rest);
    bool changed = take(tid, "ip6_dns_primary", parm.wan_ip6_dns_primary, primary);
    if (!secondary.empty())
        changed |= take(tid, "ip6_dns_secondary", parm.wan_ip6_dns_secondary, secondary);
    parm.wan_ip6_dns = list;
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_dns", parm.wan_ip6_dns);
    run_shell("vorn_syslog_cli addEventCode -1 P007 \"%s\"", parm.wan_ip6_dns);
    return changed;
}

// The LAN's DHCPv6 server hands the WAN's lifetimes on.
void store_lifetime(int tid, const char* key, const char* lan_key, const ClientValue& given)
{
    if (!given.given() || !differs(tid, parm.wan_sect, key, given.value))
        return;
    tesa_ccfg_set_str(tid, parm.wan_sect, key, given.value);
    tesa_ccfg_set_str(tid, parm.lan_sect, lan_key, given.value);
}

bool store_preferred_prefix(int tid, const AddressText& prefix, const char* length)
{
    bool changed = false;
    if (differs(tid, "system", "ip6_dhcp6c_prefix_addr", prefix)) {
        parm.delegate_prefix = prefix;
        tesa_ccfg_set_str(tid, "system", "ip6_dhcp6c_prefix_addr", parm.delegate_prefix);
        changed = true;
    }
    if (differs(tid, "system", "ip6_dhcp6c_prefix_length", length)) {
        parm.delegate_pfxlen = to_int(length);
        console_line(name, "mode:preferred, delegate_pfxlen = %d ", parm.delegate_pfxlen);
        tesa_ccfg_set_long(tid, "system", "ip6_dhcp6c_prefix_length", parm.delegate_pfxlen);
        changed = true;
    }
    return changed;
}

bool store_prefix(int tid, const ClientValue& given, int mode)
{
    const char* const slash = given.given() ? std::strchr(given.value, '/') : nullptr;
    if (slash == nullptr)
        return false;
    AddressText prefix;
    prefix.assign(given.value, static_cast<std::size_t>(slash - given.value));
    const char* const length = slash[1] != '\0' ? slash + 1 : "56";

    bool changed = false;
    if (mode == PREFERRED_PREFIX) {
        changed = store_preferred_prefix(tid, prefix, length);
    } else {
        parm.delegate_prefix = prefix;
        parm.delegate_pfxlen = to_int(length);
        console_line(name, "mode:random, delegate_pfxlen = %d ", parm.delegate_pfxlen);
    }
    run_shell("vorn_syslog_cli addEventCode -1 P005 %s/%d", parm.delegate_prefix, parm.delegate_pfxlen);
    return changed;
}

bool store_address(int tid, const ClientEvent& event, const Granted& g)
{
    if (!event.is_stateful())
        return false;
    bool changed = false;
    if (g.address.given()) {
        AddressText address;
        address = g.address.value;
        changed = take(tid, "ip6_addr", parm.wan_ip6_addr, address);
        if (changed) {
            parm.wan_ip6_pfxlen = g.prefixlen.given() ? to_int(g.prefixlen.value) : 64;
            tesa_ccfg_set_long(tid, parm.wan_sect, "ip6_pfxlen", parm.wan_ip6_pfxlen);
        }
    }
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_stateless", g.address.given() ? "0" : "1");
    return changed;
}

} // namespace

int store_binding(int tid, const ClientEvent& event, int mode)
{
    const Granted granted;
    report(granted);
    bool changed = store_domain(tid, granted);
    store_if_new(tid, "ip6_sntp", granted.sntp_servers);
    changed |= store_name_servers(tid, granted.name_servers);
    store_lifetime(tid, "ip6_lease", "ip6_dhcp_prefer", granted.preferred_life);
    store_lifetime(tid, "ip6_life", "ip6_dhcp_valid", granted.max_life);
    store_if_new(tid, "ip6_renew", granted.renew);
    store_if_new(tid, "ip6_rebind", granted.rebind);
    changed |= store_prefix(tid, granted.prefix, mode);
    changed |= store_address(tid, event, granted);

    my_printf("[dhcp6c_main] ip6_changed=%d\n", changed ? 1 : 0);
    log_line(name, "ip6_changed = %d", changed ? 1 : 0);
    tesa_ccfg_set_long(tid, parm.wan_sect, "ip6_changed", changed ? 1 : 0);
    return 0;
}
