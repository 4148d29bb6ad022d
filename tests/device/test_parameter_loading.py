"""The whole log of loading the parameters, line by line, and what loading writes back."""


def test_an_empty_store_gives_the_defaults(gateway):
    run = gateway.run("ipv6rd_restart")
    assert run.status == 1
    assert run.log_lines == [
        "[main][1000] ^_^[/usr/sbin/ipv6rd_restart] start.",
        "",
        "[prepare_parm][1000] ProductClass(system) is ",
        "[get_serial_number][1000] SerialNumber is SN0001",
        "[prepare_parm][1000] SerialNumber is SN0001",
        "[prepare_parm][1000] ip6_addr(lan0):",
        "[prepare_parm][1000] ip6_prefix(lan0):",
        "[prepare_parm][1000] ip6_pfxlen(lan0):0",
        "[prepare_parm][1000] lan_ip6_gua_hostid(lan0):",
        "[prepare_parm][1000] lan_ip6_gua_sid(lan0):0",
        "[prepare_parm][1000] ip6_ula_eb(lan0):0",
        "[prepare_parm][1000] ip6_ula_manual_gid(lan0):0",
        "[zel_system][1000] [0]ccfg_cli set ip6_pre_manual_gid@lan0=0",
        "[prepare_parm][1000] ip6_ula_gid(lan0):",
        "[prepare_parm][1000] ip6_ula_sid(lan0):000",
        "[prepare_parm][1000] ip6_ula_hostid(lan0):",
        "[prepare_parm][1000] ip6_ula_addr(lan0):",
        "[prepare_parm][1000] lan_ip6_ula_prefer(lan0):0",
        "[prepare_parm][1000] ip6_ula_valid(lan0):0",
        "[prepare_parm][1000] [lan0] ip6_dns1(system):",
        "[prepare_parm][1000] [lan0] ip6_dns2(system):",
        "[prepare_parm_lan1][1000] ip6_addr(lan1):",
        "[prepare_parm_lan1][1000] ip6_prefix(lan1):",
        "[prepare_parm_lan1][1000] ip6_pfxlen(lan1):0",
        "[prepare_parm_lan1][1000] lan1_ip6_gua_sid(lan1):0",
        "[prepare_parm_lan1][1000] ip6_ula_eb(lan1):0",
        "[prepare_parm_lan1][1000] ip6_ula_manual_gid(lan1):0",
        "[zel_system][1000] [0]ccfg_cli set ip6_pre_manual_gid@lan1=0",
        "[prepare_parm_lan1][1000] ip6_ula_gid(lan1):",
        "[prepare_parm_lan1][1000] ip6_ula_sid(lan1):000",
        "[get_mac_addr][1000] br-lan1 macaddr is [00:11:22:33:44:66]",
        "[prepare_parm_lan1][1000] lan1_ip6_gua_hostid(lan1):0211:22FF:FE33:4466",
        "[prepare_parm_lan1][1000] lan1_ip6_ula_hostid(lan1):0211:22FF:FE33:4466",
        "[prepare_parm_lan1][1000] ip6_ula_addr(lan1):",
        "[prepare_parm_lan1][1000] lan1_ip6_ula_prefer(lan1):0",
        "[prepare_parm_lan1][1000] ip6_ula_valid(lan1):0",
        "[prepare_parm_lan1][1000] [lan1] ip6_dns1(system):",
        "[prepare_parm_lan1][1000] [lan1] ip6_dns2(system):",
        "[get_wan_ifname][1000] wandataif is [ppp0]",
        "[prepare_parm][1000] wandataif is [ppp0]",
        "[get_wan_sect][1000] wan_sect is [wan100]",
        "[prepare_parm][1000] wan0_sect is [wan100]",
        "[prepare_parm][1000] ip6_proto(wan100):dhcp",
        "[prepare_parm][1000] ip6_duid(wan100):",
        "[prepare_parm][1000] ip6_duid_type(wan100):0",
        "[prepare_parm][1000] ip6_addr(wan100):",
        "[prepare_parm][1000] ip6_prefix(wan100):",
        "[prepare_parm][1000] ip6_pfxlen(wan100):0",
        "[prepare_parm][1000] ip6_gateway(wan100):",
        "[prepare_parm][1000] ip6_dns_primary(wan100):",
        "[prepare_parm][1000] ip6_dns_secondary(wan100):",
        "[prepare_parm][1000] ip6_dns(wan100):",
        "[prepare_parm][1000] ip6_domain(wan100):",
        "[prepare_parm][1000] ip6_dhcp6c_prefix_addr(system):",
        "[prepare_parm][1000] ip6_dhcp6c_prefix_length(system):56",
        "[prepare_parm][1000] ip6_tunnel_type(wan100):0",
        "[prepare_parm][1000] ip6_6rd_ifname(wan100):6rd",
        "[prepare_parm][1000] ip6_6to4_subnetid(wan100):0",
        "[get_mac_addr][1000] br-lan macaddr is [00:11:22:33:44:55]",
        "[prepare_parm][1000] on-demand(wan100):0",
        "[prepare_parm][1000] ip6_wan_ready(system):0",
        "[prepare_parm][1000] ip4_wan_ready(system):0",
        "[prepare_parm][1000] add_static_route(system):(0)",
        "[prepare_parm][1000] pre_routing_prefix(system):",
        "[zel_system][1000] [0]/usr/sbin/ip tunnel del 6rd",
        "[main][1000] ^_^[/usr/sbin/ipv6rd_restart] ERROR_NONE, end.",
        "",
    ]
    assert run.console_lines == ["[prepare_parm][1000] \x1b[1;31m Auto_gid (0) \x1b[0m"]
    assert run.store == {
        "ip6_gua_hostid@lan0": "0211:22FF:FE33:4455",
        "ip6_gua_hostid@lan1": "0211:22FF:FE33:4466",
        "ip6_pre_manual_gid@lan0": "0",
        "ip6_pre_manual_gid@lan1": "0",
        "ip6_ula_hostid@lan0": "0211:22FF:FE33:4455",
        "ip6_ula_hostid@lan1": "0211:22FF:FE33:4466",
    }


FULL_STORE = {
    "product_class@system": "GW-6000",
    "ip6_addr@lan0": "2001:db8:0:1::1", "ip6_prefix@lan0": "2001:db8:0:1::", "ip6_pfxlen@lan0": "64",
    "ip6_gua_manual_hostid@lan0": "1", "ip6_ula_manual_hostid@lan0": "1",
    "ip6_gua_hostid@lan0": "0000:0000:0000:0001", "ip6_gua_sid@lan0": "0A", "ip6_ula_eb@lan0": "1",
    "ip6_ula_manual_gid@lan0": "1", "ip6_pre_manual_gid@lan0": "1", "ip6_ula_gid@lan0": "aa:bbbb:cccc",
    "ip6_ula_sid@lan0": "03", "ip6_ula_hostid@lan0": "0000:0000:0000:0002",
    "ip6_ula_addr@lan0": "FDaa:bbbb:cccc:0003:0000:0000:0000:0002", "ip6_ula_prefer@lan0": "1800",
    "ip6_ula_valid@lan0": "3600",
    "ip6_dns1@system": "2001:db8::53", "ip6_dns2@system": "2001:db8::54",
    "ip6_addr@lan1": "2001:db8:0:2::1", "ip6_prefix@lan1": "2001:db8:0:2::", "ip6_pfxlen@lan1": "63",
    "ip6_gua_manual_hostid@lan1": "2", "ip6_ula_manual_hostid@lan1": "-1",
    "ip6_gua_hostid@lan1": "0000:0000:0000:0003", "ip6_gua_sid@lan1": "0B", "ip6_ula_eb@lan1": "2",
    "ip6_ula_manual_gid@lan1": "1", "ip6_pre_manual_gid@lan1": "1", "ip6_ula_gid@lan1": "dd:eeee:ffff",
    "ip6_ula_sid@lan1": "04", "ip6_ula_hostid@lan1": "0000:0000:0000:0004",
    "ip6_ula_addr@lan1": "FDdd:eeee:ffff:0004:0000:0000:0000:0004", "ip6_ula_prefer@lan1": "1801",
    "ip6_ula_valid@lan1": "3601",
    "ip6_proto@wan7": "static", "ip6_duid@wan7": "00:03:00:01:00:11:22:33:44:55", "ip6_duid_type@wan7": "3",
    "ip6_addr@wan7": "2001:db8:1::5", "ip6_prefix@wan7": "2001:db8:1::", "ip6_pfxlen@wan7": "48",
    "ip6_gateway@wan7": "fe80::1", "ip6_dns_primary@wan7": "2001:db8:1::53",
    "ip6_dns_secondary@wan7": "2001:db8:1::54", "ip6_dns@wan7": "2001:db8:1::53 2001:db8:1::54",
    "ip6_domain@wan7": "isp.example second.example", "ip6_dhcp6c_prefix_addr@system": "2001:db8:2::",
    "ip6_dhcp6c_prefix_length@system": "60", "ip6_tunnel_type@wan7": "2", "ip6_6rd_ifname@wan7": "tun0",
    "ip6_6to4_subnetid@wan7": "12", "on-demand@wan7": "1", "ip6_wan_ready@system": "1",
    "ip4_wan_ready@system": "1", "add_static_route@system": "1", "num_extra_routes@system": "4",
    "ip6_pre_routing_prefix@system": "2001:0DB8:0002:00",
}


def test_a_full_store_is_loaded_key_by_key_and_left_as_it_is(gateway):
    gateway.wan("eth4", sect="wan7")
    gateway.store.update(FULL_STORE)
    run = gateway.run("ipv6rd_restart")
    assert run.log_lines == [
        "[main][1000] ^_^[/usr/sbin/ipv6rd_restart] start.",
        "",
        "[prepare_parm][1000] ProductClass(system) is GW-6000",
        "[get_serial_number][1000] SerialNumber is SN0001",
        "[prepare_parm][1000] SerialNumber is SN0001",
        "[prepare_parm][1000] ip6_addr(lan0):2001:db8:0:1::1",
        "[prepare_parm][1000] ip6_prefix(lan0):2001:db8:0:1::",
        "[prepare_parm][1000] ip6_pfxlen(lan0):64",
        "[prepare_parm][1000] lan_ip6_gua_hostid(lan0):0000:0000:0000:0001",
        "[prepare_parm][1000] lan_ip6_gua_sid(lan0):0A",
        "[prepare_parm][1000] ip6_ula_eb(lan0):1",
        "[prepare_parm][1000] ip6_ula_manual_gid(lan0):1",
        "[zel_system][1000] [0]ccfg_cli set ip6_pre_manual_gid@lan0=1",
        "[prepare_parm][1000] ip6_ula_gid(lan0):aa:bbbb:cccc",
        "[prepare_parm][1000] ip6_ula_sid(lan0):0003",
        "[prepare_parm][1000] ip6_ula_hostid(lan0):0000:0000:0000:0002",
        "[prepare_parm][1000] ip6_ula_addr(lan0):FDaa:bbbb:cccc:0003:0000:0000:0000:0002",
        "[prepare_parm][1000] lan_ip6_ula_prefer(lan0):1800",
        "[prepare_parm][1000] ip6_ula_valid(lan0):3600",
        "[prepare_parm][1000] [lan0] ip6_dns1(system):2001:db8::53",
        "[prepare_parm][1000] [lan0] ip6_dns2(system):2001:db8::54",
        "[prepare_parm_lan1][1000] ip6_addr(lan1):2001:db8:0:2::1",
        "[prepare_parm_lan1][1000] ip6_prefix(lan1):2001:db8:0:2::",
        "[prepare_parm_lan1][1000] ip6_pfxlen(lan1):63",
        "[prepare_parm_lan1][1000] lan1_ip6_gua_sid(lan1):0B",
        "[prepare_parm_lan1][1000] ip6_ula_eb(lan1):2",
        "[prepare_parm_lan1][1000] ip6_ula_manual_gid(lan1):1",
        "[zel_system][1000] [0]ccfg_cli set ip6_pre_manual_gid@lan1=1",
        "[prepare_parm_lan1][1000] ip6_ula_gid(lan1):dd:eeee:ffff",
        "[prepare_parm_lan1][1000] ip6_ula_sid(lan1):0004",
        "[get_mac_addr][1000] br-lan1 macaddr is [00:11:22:33:44:66]",
        "[prepare_parm_lan1][1000] lan1_ip6_gua_hostid(lan1):0000:0000:0000:0003",
        "[prepare_parm_lan1][1000] lan1_ip6_ula_hostid(lan1):0000:0000:0000:0004",
        "[prepare_parm_lan1][1000] ip6_ula_addr(lan1):FDdd:eeee:ffff:0004:0000:0000:0000:0004",
        "[prepare_parm_lan1][1000] lan1_ip6_ula_prefer(lan1):1801",
        "[prepare_parm_lan1][1000] ip6_ula_valid(lan1):3601",
        "[prepare_parm_lan1][1000] [lan1] ip6_dns1(system):2001:db8::53",
        "[prepare_parm_lan1][1000] [lan1] ip6_dns2(system):2001:db8::54",
        "[get_wan_ifname][1000] wandataif is [eth4]",
        "[prepare_parm][1000] wandataif is [eth4]",
        "[get_wan_sect][1000] wan_sect is [wan7]",
        "[prepare_parm][1000] wan0_sect is [wan7]",
        "[prepare_parm][1000] ip6_proto(wan7):static",
        "[prepare_parm][1000] ip6_duid(wan7):00:03:00:01:00:11:22:33:44:55",
        "[prepare_parm][1000] ip6_duid_type(wan7):3",
        "[prepare_parm][1000] ip6_addr(wan7):2001:db8:1::5",
        "[prepare_parm][1000] ip6_prefix(wan7):2001:db8:1::",
        "[prepare_parm][1000] ip6_pfxlen(wan7):48",
        "[prepare_parm][1000] ip6_gateway(wan7):fe80::1",
        "[prepare_parm][1000] ip6_dns_primary(wan7):2001:db8:1::53",
        "[prepare_parm][1000] ip6_dns_secondary(wan7):2001:db8:1::54",
        "[prepare_parm][1000] ip6_dns(wan7):2001:db8:1::53 2001:db8:1::54",
        "[prepare_parm][1000] ip6_domain(wan7):isp.example second.example",
        "[prepare_parm][1000] ip6_dhcp6c_prefix_addr(system):2001:db8:2::",
        "[prepare_parm][1000] ip6_dhcp6c_prefix_length(system):60",
        "[prepare_parm][1000] ip6_tunnel_type(wan7):2",
        "[prepare_parm][1000] ip6_6rd_ifname(wan7):tun0",
        "[prepare_parm][1000] ip6_6to4_subnetid(wan7):12",
        "[get_mac_addr][1000] br-lan macaddr is [00:11:22:33:44:55]",
        "[prepare_parm][1000] on-demand(wan7):1",
        "[prepare_parm][1000] ip6_wan_ready(system):1",
        "[prepare_parm][1000] ip4_wan_ready(system):1",
        "[prepare_parm][1000] add_static_route(system):(1)",
        "[prepare_parm][1000] num_extra_routes(system):4",
        "[prepare_parm][1000] pre_routing_prefix(system):2001:0DB8:0002:00",
        "[zel_system][1000] [0]/usr/sbin/ip tunnel del tun0",
        "[main][1000] ^_^[/usr/sbin/ipv6rd_restart] ERROR_NONE, end.",
        "",
    ]
    assert run.console == ""
    assert run.store == FULL_STORE


def test_keys_of_another_wan_section_are_not_read(gateway):
    gateway.store.update({"ip6_proto@wan7": "static", "ip6_addr@wan7": "2001:db8:1::5", "on-demand@wan7": "1"})
    run = gateway.run("ipv6rd_restart")
    loaded = run.messages("prepare_parm")
    assert "ip6_proto(wan100):dhcp" in loaded
    assert "ip6_addr(wan100):" in loaded
    assert "on-demand(wan100):0" in loaded


def test_text_values_are_cut_to_their_capacity(gateway):
    capacities = {
        "product_class@system": ("ProductClass(system) is %s", 32),
        "ip6_addr@lan0": ("ip6_addr(lan0):%s", 46),
        "ip6_prefix@lan0": ("ip6_prefix(lan0):%s", 46),
        "ip6_ula_gid@lan0": ("ip6_ula_gid(lan0):%s", 46),
        "ip6_ula_addr@lan0": ("ip6_ula_addr(lan0):%s", 46),
        "ip6_proto@wan100": ("ip6_proto(wan100):%s", 8),
        "ip6_duid@wan100": ("ip6_duid(wan100):%s", 256),
        "ip6_addr@wan100": ("ip6_addr(wan100):%s", 46),
        "ip6_gateway@wan100": ("ip6_gateway(wan100):%s", 46),
        "ip6_dns_primary@wan100": ("ip6_dns_primary(wan100):%s", 46),
        "ip6_dns@wan100": ("ip6_dns(wan100):%s", 256),
        "ip6_domain@wan100": ("ip6_domain(wan100):%s", 128),
        "ip6_dhcp6c_prefix_addr@system": ("ip6_dhcp6c_prefix_addr(system):%s", 46),
        "ip6_tunnel_type@wan100": ("ip6_tunnel_type(wan100):%s", 8),
        "ip6_6rd_ifname@wan100": ("ip6_6rd_ifname(wan100):%s", 32),
        "ip6_6to4_subnetid@wan100": ("ip6_6to4_subnetid(wan100):%s", 16),
        "ip6_pre_routing_prefix@system": ("pre_routing_prefix(system):%s", 46),
    }
    for key in capacities:
        gateway.store[key] = "v" * 300
    run = gateway.run("ipv6rd_restart")
    loaded = run.messages("prepare_parm")
    for key, (text, capacity) in capacities.items():
        assert text % ("v" * (capacity - 1)) in loaded, key
        assert run.store[key] == "v" * 300


def test_numbers_are_read_as_far_as_they_go(gateway):
    gateway.store.update({"ip6_pfxlen@lan0": "64bits", "ip6_ula_prefer@lan0": " 12", "ip6_ula_valid@lan0": "many",
                          "ip6_duid_type@wan100": "", "ip6_dhcp6c_prefix_length@system": "x"})
    loaded = gateway.run("ipv6rd_restart").messages("prepare_parm")
    assert "ip6_pfxlen(lan0):64" in loaded
    assert "lan_ip6_ula_prefer(lan0):12" in loaded
    assert "ip6_ula_valid(lan0):0" in loaded
    assert "ip6_duid_type(wan100):0" in loaded
    assert "ip6_dhcp6c_prefix_length(system):0" in loaded       # the default serves a missing key only


def test_without_extra_routes_their_number_is_not_read(gateway):
    gateway.store.update({"add_static_route@system": "0", "num_extra_routes@system": "9"})
    loaded = gateway.run("ipv6rd_restart").messages("prepare_parm")
    assert loaded[-2:] == ["add_static_route(system):(0)", "pre_routing_prefix(system):"]


def test_with_extra_routes_their_number_is_read(gateway):
    gateway.store.update({"add_static_route@system": "2", "num_extra_routes@system": "9"})
    loaded = gateway.run("ipv6rd_restart").messages("prepare_parm")
    assert loaded[-3:] == ["add_static_route(system):(2)", "num_extra_routes(system):9",
                           "pre_routing_prefix(system):"]


def test_loading_twice_changes_nothing_more(gateway):
    gateway.run("ipv6rd_restart")
    assert gateway.run("ipv6rd_restart").store_changes == {}


def test_a_command_that_loads_nothing_sees_the_initial_values(gateway):
    gateway.store.update({"ip6_dns1@system": "2001:db8::53", "ip6_wan_ready@system": "0"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    run = gateway.run("zel_resolv_update")
    assert run.messages("prepare_parm") == []
    assert run.files["/tmp/resolv.conf.auto"] == "nameserver 192.0.2.53\n"      # ip6_dns1 is empty in memory
    assert run.store["dns@wan100"] == "192.0.2.53"


def test_a_log_that_cannot_be_opened_does_not_stop_the_loading(gateway):
    gateway.folder("/tmp/ipv6.log")
    run = gateway.run("ipv6rd_restart")
    assert run.status == 1
    assert run.log == ""
    assert run.calls_of("ip") == [["/usr/sbin/ip", "tunnel", "del", "6rd"]]
    assert run.store["ip6_ula_hostid@lan1"] == "0211:22FF:FE33:4466"
