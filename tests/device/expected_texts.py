"""Texts that many transcripts have in common, written out once.

A transcript is put together from parts: framed("zel_ipcp_up", said("zel_ipcp_up", "..."), ran("conntrack -F")).
"""
COLOR, PLAIN = "\033[1;31m", "\033[0m"
LAN0_ID, LAN1_ID = "0211:22FF:FE33:4455", "0211:22FF:FE33:4466"
LAN0_ULA, LAN1_ULA = f"FD3e:41a2:09bc:0001:{LAN0_ID}", f"FD5d:77c0:e1f2:0002:{LAN1_ID}"

# A gateway whose unique-local addresses are enabled on both bridges and whose WAN has never been up.
HOME = {
    "ip6_gua_sid@lan0": "01",
    "ip6_gua_hostid@lan0": LAN0_ID,
    "ip6_ula_eb@lan0": "1",
    "ip6_ula_gid@lan0": "3e:41a2:09bc",
    "ip6_ula_sid@lan0": "01",
    "ip6_ula_hostid@lan0": LAN0_ID,
    "ip6_pre_manual_gid@lan0": "0",
    "ip6_gua_sid@lan1": "02",
    "ip6_gua_hostid@lan1": LAN1_ID,
    "ip6_ula_eb@lan1": "1",
    "ip6_ula_gid@lan1": "5d:77c0:e1f2",
    "ip6_ula_sid@lan1": "02",
    "ip6_ula_hostid@lan1": LAN1_ID,
    "ip6_pre_manual_gid@lan1": "0",
}

# The same without unique-local addresses.
BARE = {**HOME, "ip6_ula_eb@lan0": "0", "ip6_ula_eb@lan1": "0"}

# The shell lines of loading the parameters.
LOADING = ["ccfg_cli set ip6_pre_manual_gid@lan0=0", "ccfg_cli set ip6_pre_manual_gid@lan1=0"]

# The console line of loading the parameters.
LOADING_CONSOLE = [f"[prepare_parm][1000] {COLOR} Auto_gid (0) {PLAIN}"]


def said(routine, *texts, uptime=1000):
    """Log lines of one routine."""
    return [f"[{routine}][{uptime}] {text}" for text in texts]


def ran(*lines, status=0, uptime=1000):
    """Log lines of shell lines."""
    return [f"[zel_system][{uptime}] [{status}]{line}" for line in lines]


def framed(name, *parts, uptime=1000):
    """The whole log of a run that came to its normal end."""
    middle = [line for part in parts for line in part]
    return [f"[main][{uptime}] ^_^[/usr/sbin/{name}] start.", "", *middle,
            f"[main][{uptime}] ^_^[/usr/sbin/{name}] ERROR_NONE, end.", ""]


def found_wan(link="ppp0", sect="wan100"):
    """Log lines of finding the WAN interface and its section."""
    return [f"[get_wan_ifname][1000] wandataif is [{link}]", f"[get_wan_sect][1000] wan_sect is [{sect}]"]


def loaded(store, link="ppp0", sect="wan100"):
    """Log lines of loading the parameters from a store whose subnet ids are well formed and whose global ids are
    automatic; the host identifiers are those of the usual hardware addresses."""
    def value(key, missing=""):
        return store.get(key, missing)

    lines = said("prepare_parm", f"ProductClass(system) is {value('product_class@system')}")
    lines += said("get_serial_number", "SerialNumber is SN0001")
    lines += said(
        "prepare_parm", "SerialNumber is SN0001",
        f"ip6_addr(lan0):{value('ip6_addr@lan0')}",
        f"ip6_prefix(lan0):{value('ip6_prefix@lan0')}",
        f"ip6_pfxlen(lan0):{value('ip6_pfxlen@lan0', '0')}",
        f"lan_ip6_gua_hostid(lan0):{value('ip6_gua_hostid@lan0')}",
        f"lan_ip6_gua_sid(lan0):{value('ip6_gua_sid@lan0')}",
        f"ip6_ula_eb(lan0):{value('ip6_ula_eb@lan0', '0')}",
        "ip6_ula_manual_gid(lan0):0")
    lines += ran("ccfg_cli set ip6_pre_manual_gid@lan0=0")
    lines += said(
        "prepare_parm", f"ip6_ula_gid(lan0):{value('ip6_ula_gid@lan0')}",
        f"ip6_ula_sid(lan0):00{value('ip6_ula_sid@lan0')}",
        f"ip6_ula_hostid(lan0):{value('ip6_ula_hostid@lan0')}",
        f"ip6_ula_addr(lan0):{value('ip6_ula_addr@lan0')}",
        f"lan_ip6_ula_prefer(lan0):{value('ip6_ula_prefer@lan0', '0')}",
        f"ip6_ula_valid(lan0):{value('ip6_ula_valid@lan0', '0')}",
        f"[lan0] ip6_dns1(system):{value('ip6_dns1@system')}",
        f"[lan0] ip6_dns2(system):{value('ip6_dns2@system')}")
    lines += said(
        "prepare_parm_lan1", f"ip6_addr(lan1):{value('ip6_addr@lan1')}",
        f"ip6_prefix(lan1):{value('ip6_prefix@lan1')}",
        f"ip6_pfxlen(lan1):{value('ip6_pfxlen@lan1', '0')}",
        f"lan1_ip6_gua_sid(lan1):{value('ip6_gua_sid@lan1')}",
        f"ip6_ula_eb(lan1):{value('ip6_ula_eb@lan1', '0')}",
        "ip6_ula_manual_gid(lan1):0")
    lines += ran("ccfg_cli set ip6_pre_manual_gid@lan1=0")
    lines += said(
        "prepare_parm_lan1", f"ip6_ula_gid(lan1):{value('ip6_ula_gid@lan1')}",
        f"ip6_ula_sid(lan1):00{value('ip6_ula_sid@lan1')}")
    lines += said("get_mac_addr", "br-lan1 macaddr is [00:11:22:33:44:66]")
    lines += said(
        "prepare_parm_lan1", f"lan1_ip6_gua_hostid(lan1):{LAN1_ID}",
        f"lan1_ip6_ula_hostid(lan1):{LAN1_ID}",
        f"ip6_ula_addr(lan1):{value('ip6_ula_addr@lan1')}",
        f"lan1_ip6_ula_prefer(lan1):{value('ip6_ula_prefer@lan1', '0')}",
        f"ip6_ula_valid(lan1):{value('ip6_ula_valid@lan1', '0')}",
        f"[lan1] ip6_dns1(system):{value('ip6_dns1@system')}",
        f"[lan1] ip6_dns2(system):{value('ip6_dns2@system')}")
    lines += said("get_wan_ifname", f"wandataif is [{link}]")
    lines += said("prepare_parm", f"wandataif is [{link}]")
    lines += said("get_wan_sect", f"wan_sect is [{sect}]")
    lines += said("prepare_parm", f"wan0_sect is [{sect}]")
    for key, missing in (("ip6_proto", "dhcp"), ("ip6_duid", ""), ("ip6_duid_type", "0"), ("ip6_addr", ""),
                         ("ip6_prefix", ""), ("ip6_pfxlen", "0"), ("ip6_gateway", ""), ("ip6_dns_primary", ""),
                         ("ip6_dns_secondary", ""), ("ip6_dns", ""), ("ip6_domain", "")):
        lines += said("prepare_parm", f"{key}({sect}):{value(f'{key}@{sect}', missing)}")
    lines += said(
        "prepare_parm", f"ip6_dhcp6c_prefix_addr(system):{value('ip6_dhcp6c_prefix_addr@system')}",
        f"ip6_dhcp6c_prefix_length(system):{value('ip6_dhcp6c_prefix_length@system', '56')}",
        f"ip6_tunnel_type({sect}):{value(f'ip6_tunnel_type@{sect}', '0')}",
        f"ip6_6rd_ifname({sect}):{value(f'ip6_6rd_ifname@{sect}', '6rd')}",
        f"ip6_6to4_subnetid({sect}):{value(f'ip6_6to4_subnetid@{sect}', '0')}")
    lines += said("get_mac_addr", "br-lan macaddr is [00:11:22:33:44:55]")
    lines += said(
        "prepare_parm", f"on-demand({sect}):{value(f'on-demand@{sect}', '0')}",
        f"ip6_wan_ready(system):{value('ip6_wan_ready@system', '0')}",
        f"ip4_wan_ready(system):{value('ip4_wan_ready@system', '0')}",
        f"add_static_route(system):({value('add_static_route@system', '0')})")
    if value("add_static_route@system", "0") != "0":
        lines += said("prepare_parm", f"num_extra_routes(system):{value('num_extra_routes@system', '0')}")
    return lines + said("prepare_parm", f"pre_routing_prefix(system):{value('ip6_pre_routing_prefix@system')}")
