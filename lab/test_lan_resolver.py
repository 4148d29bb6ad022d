"""The name servers that a LAN host is served from: learned on the line, set for the whole system, IPv4 first."""
import pytest
from netlab import prefixes
from netlab.gateway import BRIDGES
from netlab.isp import ACCESS
from netlab.wait import need, wait_for

NAME = "whoami.isp.example"
FOUR = ("192.0.2.53", "192.0.2.54")                     # what the link's IPv4 side names
LEASED = ("3fff:100:53::1", "3fff:100:53::2")           # what the lease names
# What the administrator sets. The first leased address is the beginning of both.
PAIR = ("3fff:100:53::1a", "3fff:100:53::1b")
FILE = "/tmp/resolv.conf.auto"


class NameServers:
    """The provider's name servers, one process each. Asked for NAME, each answers with an address of its own."""

    def __init__(self, lab):
        self.lab, self.isp = lab, lab.isp
        leased = next(service for service in self.isp.services if service.name == "dnsmasq")
        leased.stop()
        self.isp.services.remove(leased)
        self.running = {}
        self.answers = {server: f"3fff:100:80::{number}" for number, server in enumerate((*FOUR, *LEASED, *PAIR), 1)}
        for address in (*FOUR, *PAIR):
            self.isp.must("ip", "addr", "add", f"{address}/{128 if ':' in address else 32}", "dev", "lo",
                          *(["nodad"] if ":" in address else []))
        for server in self.answers:
            self.start(server)

    def start(self, server):
        name = f"dnsmasq-{server.replace(':', '_')}"
        self.running[server] = self.isp.spawn(
            name, "/usr/sbin/dnsmasq", "--conf-file=/dev/null", "--no-resolv", "--no-hosts", "--bind-interfaces",
            "--keep-in-foreground", "--log-queries", "--log-facility=-", "--user=root", "--pid-file=",
            f"--listen-address={server}", f"--host-record={NAME},{self.answers[server]}", "--local=/isp.example/")

        def probe():
            text = f"[{server}]:53 " if ":" in server else f"{server}:53 "
            need(text in self.isp.must("ss", "-H", "-l", "-n", "-u"), f"{name} does not listen")
        wait_for(probe)

    def stop(self, server):
        service = self.running.pop(server)
        service.stop()
        self.isp.services.remove(service)

    def answering(self, host):
        """The server whose answer a host gets through the gateway; None when it gets none."""
        found = host.resolve(NAME)
        return next((server for server, answer in self.answers.items() if found == [answer]), None)


def servers_in_force(lab):
    """The servers of the forwarder's file, in its order."""
    return [line.split()[1] for line in lab.gw.read(FILE).splitlines() if line.startswith("nameserver ")]


def write_ipv4_servers(lab, *servers):
    """What the link's IPv4 side does when it comes up."""
    lab.gw.path(FILE).write_text("".join(f"nameserver {server}\n" for server in ("127.0.0.1", *servers)),
                                 encoding="utf-8")


@pytest.fixture(scope="module")
def names(shared_lab_with):
    """On line over IPv6 and IPv4, each host asking its own bridge."""
    lab = shared_lab_with()
    names = NameServers(lab)
    lab.isp.must("ip", "addr", "add", "192.0.2.1/24", "dev", ACCESS)
    lab.gw.must("ip", "addr", "add", "192.0.2.2/24", "dev", lab.gw.wan)
    lab.online()
    lab.gw.must("ip", "route", "add", "default", "via", "192.0.2.1")
    for number, host in enumerate(lab.hosts):
        network = prefixes.unique_local(lab.get(f"ip6_ula_gid@lan{number}"), lab.get(f"ip6_ula_sid@lan{number}"))
        host.use_resolver([str(prefixes.eui64(network, lab.gw.mac(BRIDGES[number])))])
    return names


def served(names, server):
    """Both hosts are answered by that server, and none other was asked for it since."""
    for host in names.lab.hosts:
        names.lab.settles(lambda: names.answering(host), server)


def test_the_leased_servers_answer_in_their_order(names):
    """With IPv6 only the first leased server answers hosts of both LANs, and the second when the first is gone"""
    lab = names.lab
    assert servers_in_force(lab) == ["127.0.0.1", *LEASED]
    served(names, LEASED[0])
    names.stop(LEASED[0])
    served(names, LEASED[1])
    names.start(LEASED[0])


def test_ipv4_servers_come_first_and_the_leased_ones_after_them(names):
    """The IPv4 servers of the link are harvested, stored and asked first; each serves when those before it fail"""
    lab = names.lab
    write_ipv4_servers(lab, *FOUR)
    lab.command("zel_resolv_update")
    assert (lab.get("dns@wan"), lab.get("sdns@wan")) == FOUR
    assert servers_in_force(lab) == ["127.0.0.1", *FOUR, *LEASED]
    served(names, FOUR[0])
    for gone, left in zip((*FOUR, LEASED[0]), (FOUR[1], *LEASED)):
        names.stop(gone)
        served(names, left)
    for server in (*FOUR, LEASED[0]):
        names.start(server)


def test_the_systems_pair_takes_the_place_of_the_leased_one(names):
    """Servers set for the whole system: on the wire to the hosts, and in the place of the leased ones behind IPv4"""
    lab = names.lab
    write_ipv4_servers(lab, *FOUR)
    for key, server in zip(("ip6_dns1", "ip6_dns2"), PAIR):
        lab.set(f"{key}@system", server)
    lab.command("ipv6_lan_restart")
    assert servers_in_force(lab) == ["127.0.0.1", *FOUR, *PAIR]
    for number, host in enumerate(lab.hosts):
        lab.settles(lambda: [server for server, _ in lab.lans[number].advertisements()[-1].servers], list(PAIR))
        lab.settles(lambda: host.advertised_resolver()[0], list(PAIR))
    served(names, FOUR[0])
    for server in FOUR:
        names.stop(server)
    served(names, PAIR[0])
    for server in FOUR:
        names.start(server)


def test_an_update_of_its_own_adds_the_leased_servers_to_the_systems_pair(names):
    """The update alone has not loaded the pair: the leased servers follow it, unless one's text is part of another's"""
    lab = names.lab
    write_ipv4_servers(lab, *FOUR)
    lab.command("zel_resolv_update")
    assert LEASED[0] in PAIR[0]
    assert servers_in_force(lab) == ["127.0.0.1", *FOUR, *PAIR, LEASED[1]]
    served(names, FOUR[0])


def test_a_second_server_without_a_first_is_no_pair(names):
    """Only the first of the pair says that there is one: a second alone leaves the leased servers in force"""
    lab = names.lab
    write_ipv4_servers(lab, *FOUR)
    lab.set("ip6_dns1@system", "")
    lab.set("ip6_dns2@system", PAIR[1])
    lab.command("ipv6_lan_restart")
    assert servers_in_force(lab) == ["127.0.0.1", *FOUR, *LEASED]
    for server in FOUR:
        names.stop(server)
    served(names, LEASED[0])
    lab.set("ip6_dns2@system", "")
    for server in FOUR:
        names.start(server)


def test_an_ipv4_address_alone_is_found_at_once_and_a_missing_one_is_waited_for(names):
    """A file without an IPv4 server is read five times, a second apart; then the update goes on with what there is"""
    lab = names.lab
    write_ipv4_servers(lab, FOUR[1])
    lab.command("zel_resolv_update")
    assert lab.get("dns@wan") == FOUR[1]
    served(names, FOUR[1])
    write_ipv4_servers(lab)
    lab.gw.path(FILE).unlink()
    lab.command("zel_resolv_update")
    # What was stored before serves on.
    assert servers_in_force(lab)[:2] == ["127.0.0.1", FOUR[1]]
    served(names, FOUR[1])
