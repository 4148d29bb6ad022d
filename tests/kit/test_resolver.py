"""The rebuilding of the resolver file, and the DNS forwarder that reads it."""

import pathlib
import re

FILE = "/tmp/resolv.conf.auto"


def rebuilt(gateway, text):
    if text is not None:
        gateway.write(FILE, text)
    gateway.run("/usr/sbin/resolv_update.sh", "SYSTEM")
    return gateway.read(FILE)


def lines(*servers):
    return "".join(f"nameserver {server}\n" for server in servers)


def test_missing_file_is_built_from_the_store(gateway):
    gateway.store(dns__wan100="192.0.2.1", sdns__wan100="192.0.2.2")
    assert rebuilt(gateway, None) == lines("127.0.0.1", "192.0.2.1", "192.0.2.2")


def test_the_section_of_the_wan_interface_is_asked(gateway):
    gateway.store(wandataif__system="ppp0", if2sect_ppp0__system="wan200", dns__wan100="192.0.2.1",
                  dns__wan200="192.0.2.9")
    assert rebuilt(gateway, None) == lines("127.0.0.1", "192.0.2.9")


def test_servers_that_are_not_committed_yet_are_not_lost(gateway):
    assert rebuilt(gateway, lines("192.0.2.1", "192.0.2.2")) == lines("127.0.0.1", "192.0.2.1", "192.0.2.2")


def test_a_new_link_takes_the_place_of_the_old_one_in_the_store(gateway):
    gateway.store(dns__wan100="198.51.100.1", sdns__wan100="198.51.100.2")
    assert rebuilt(gateway, lines("192.0.2.1", "192.0.2.2")) == lines("127.0.0.1", "192.0.2.1", "192.0.2.2")


def test_all_servers_of_the_file_stay_in_their_order(gateway):
    gateway.store(dns__wan100="192.0.2.3", sdns__wan100="192.0.2.1")
    text = lines("127.0.0.1", "192.0.2.3", "192.0.2.2", "192.0.2.3", "192.0.2.1")
    assert rebuilt(gateway, text) == lines("127.0.0.1", "192.0.2.3", "192.0.2.2", "192.0.2.1")


def test_the_second_stored_server_stays_when_the_file_has_one_only(gateway):
    gateway.store(dns__wan100="192.0.2.1", sdns__wan100="192.0.2.2")
    assert rebuilt(gateway, lines("192.0.2.7")) == lines("127.0.0.1", "192.0.2.7", "192.0.2.2")


def test_ipv6_servers_of_an_earlier_lease_do_not_stay(gateway):
    gateway.store(ip6_dns_primary__wan100="3fff::2")
    text = lines("127.0.0.1", "192.0.2.1", "3fff::20", "3fff::1")
    assert rebuilt(gateway, text) == lines("127.0.0.1", "192.0.2.1")


def test_part_of_an_ipv6_address_is_not_taken_from_the_store(gateway):
    gateway.store(dns__wan100="3fff:0:100::1", sdns__wan100="3fff:0:100:200:")
    assert rebuilt(gateway, lines("3fff:0:100::1")) == lines("127.0.0.1")


def test_the_systems_own_ipv6_servers_are_written(gateway):
    gateway.store(ip6_dns1__system="3fff::53", ip6_dns2__system="3fff::54")
    text = lines("127.0.0.1", "192.0.2.1", "3fff::54")
    assert rebuilt(gateway, text) == lines("127.0.0.1", "192.0.2.1", "3fff::53", "3fff::54")


def test_a_second_system_server_without_a_first_is_ignored(gateway):
    gateway.store(ip6_dns2__system="3fff::54")
    assert rebuilt(gateway, lines("192.0.2.1")) == lines("127.0.0.1", "192.0.2.1")


def test_twenty_rounds_as_the_program_makes_them_change_nothing(gateway):
    text = lines("192.0.2.1", "192.0.2.2")
    for _ in range(20):
        text = rebuilt(gateway, text)
        assert text == lines("127.0.0.1", "192.0.2.1", "192.0.2.2")
        text += lines("3fff::1", "3fff::2")
        # What the program stores of it: the first IPv4 server, and the last address behind it, cut.
        gateway.store(dns__wan100="192.0.2.1", sdns__wan100="3fff::2")


def test_hostile_lines_and_values_are_left_out(gateway):
    gateway.store(dns__wan100="1.2.3.4$(touch /tmp/pwned)", sdns__wan100="`touch /tmp/pwned`",
                  ip6_dns1__system="3fff::1;touch /tmp/pwned", ip6_dns2__system="x\\nnameserver 6.6.6.6")
    text = ("nameserver 1.2.3.4;touch /tmp/pwned\nnameserver $(touch /tmp/pwned)\nnameserver 1.2.3.999\n"
            "search example\nnameserver\nnameserver 192.0.2.1 trailing\n")
    assert rebuilt(gateway, text) == lines("127.0.0.1", "192.0.2.1")
    assert not gateway.exists("/tmp/pwned")


def test_a_last_line_without_an_end_is_read_whole(gateway):
    text = "nameserver 192.0.2.1\nnameserver 192.0.2.2"
    assert rebuilt(gateway, text) == lines("127.0.0.1", "192.0.2.1", "192.0.2.2")


def test_everybody_may_read_the_file_and_no_temporary_one_is_left(gateway):
    rebuilt(gateway, lines("192.0.2.1"))
    assert gateway.path(FILE).stat().st_mode & 0o777 == 0o644
    assert [p.name for p in gateway.path("/tmp").glob("resolv*")] == ["resolv.conf.auto"]


def test_a_full_disk_leaves_the_old_file(gateway):
    gateway.sh("mkdir /tmp/small && mount -t tmpfs -o size=4k,mode=1777 none /tmp/small")
    gateway.write("/tmp/small/resolv.conf.auto", lines("192.0.2.1"))
    script = gateway.read("/usr/sbin/resolv_update.sh").replace("/tmp/resolv", "/tmp/small/resolv")
    gateway.write("/tmp/update", script, 0o755)
    gateway.sh("dd if=/dev/zero of=/tmp/small/fill bs=4k count=4 2>/dev/null || :")
    assert gateway.run("/tmp/update", "SYSTEM", check=False).returncode == 1
    assert gateway.read("/tmp/small/resolv.conf.auto") == lines("192.0.2.1")
    assert sorted(p.name for p in gateway.path("/tmp/small").iterdir()) == ["fill", "resolv.conf.auto"]


def test_another_argument_changes_nothing(gateway):
    gateway.write(FILE, lines("192.0.2.9"))
    assert gateway.run("/usr/sbin/resolv_update.sh", check=False).returncode == 2
    assert gateway.read(FILE) == lines("192.0.2.9")


def forwarders(gateway):
    """Process ids of the gateway's dnsmasq processes; the dead that nobody has fetched have no network any more."""
    return gateway.sh("""
        for p in /proc/[0-9]*; do
            n=; read -r n 2>/dev/null <$p/comm
            [ "$n" = dnsmasq ] || continue
            there=$(readlink $p/ns/net)
            [ -n "$there" ] && [ "$there" != "$(readlink /proc/self/ns/net)" ] || echo ${p#/proc/}
        done""").stdout.split()


def only_forwarder(gateway):
    """The one that runs, once the processes of its start are gone; none of them may stay."""
    gateway.wait_for(lambda: len(forwarders(gateway)) == 1, seconds=10)
    return forwarders(gateway)


def upstream(gateway):
    """An ISP with a name server at 3fff:0:1::53 that knows www.isp.example, and the link to it."""
    gateway.isp("sh", "-c", "ip link set lo up; ip link set isp0 up; ip addr add 3fff:0:1::53/64 dev isp0 nodad")
    gateway.sh("ip link set eth0 up; ip addr add 3fff:0:1::2/64 dev eth0 nodad")
    gateway.sh("ip addr add 192.0.2.254/24 dev br-lan; ip -6 addr add fd00::1/64 dev br-lan nodad")
    gateway.isp_daemon("/tmp/isp-dns.log", "dnsmasq", "--keep-in-foreground", "--conf-file=/dev/null", "--no-resolv",
                       "--no-hosts", "--pid-file=", "--user=root", "--log-queries", "--log-facility=-",
                       "--listen-address=3fff:0:1::53", "--bind-interfaces", "--address=/www.isp.example/3fff:0:1::80")
    gateway.write(FILE, lines("127.0.0.1", "3fff:0:1::53"))


def asked(gateway, server):
    return gateway.run("busybox", "nslookup", "-type=aaaa", "www.isp.example", server, check=False).stdout


def test_the_forwarder_answers_on_the_bridge_and_on_loopback_and_does_not_ask_itself(gateway):
    upstream(gateway)
    gateway.run("/etc/init.d/dnsmasq2", "start")
    for server in ("192.0.2.254", "fd00::1", "127.0.0.1"):
        answer = gateway.wait_for(lambda server=server: "3fff:0:1::80" in asked(gateway, server) and "yes")
        assert answer == "yes"
    queries = re.findall(r"query\[AAAA\] www.isp.example from (\S+)", gateway.read("/tmp/isp-dns.log"))
    assert queries and set(queries) == {"3fff:0:1::2"}
    udp = gateway.sh("cat /proc/net/udp6 /proc/net/udp").stdout
    assert ":0043 " not in udp and ":0223 " not in udp, "it must not be a DHCP server"


def test_a_bridge_that_comes_later_is_served(gateway):
    upstream(gateway)
    gateway.sh("ip link del br-lan1")
    gateway.run("/etc/init.d/dnsmasq2", "start")
    gateway.sh("ip link add br-lan1 type bridge; ip link set br-lan1 up; ip -6 addr add fd00:1::1/64 dev br-lan1 nodad")
    gateway.wait_for(lambda: "3fff:0:1::80" in asked(gateway, "fd00:1::1"))


def test_one_forwarder_runs_whatever_is_called(gateway):
    gateway.write(FILE, lines("127.0.0.1"))
    gateway.run("/etc/init.d/dnsmasq2", "start")
    first = only_forwarder(gateway)
    gateway.run("/etc/init.d/dnsmasq2", "start")
    assert only_forwarder(gateway) == first
    gateway.run("/etc/init.d/dnsmasq2", "restart")
    second = only_forwarder(gateway)
    assert second != first
    gateway.sh("rm /var/run/dnsmasq2.pid; /etc/init.d/dnsmasq2 restart")
    third = only_forwarder(gateway)
    assert third != second
    gateway.sh("for n in 1 2 3 4; do /etc/init.d/dnsmasq2 restart & done; wait")
    assert gateway.read("/var/run/dnsmasq2.pid").split() == only_forwarder(gateway)
    gateway.run("/etc/init.d/dnsmasq2", "stop")
    gateway.wait_for(lambda: forwarders(gateway) == [])
    assert gateway.run("/etc/init.d/dnsmasq2", "status", check=False).returncode == 1


def test_a_call_waits_for_the_one_before_it(gateway):
    gateway.write(FILE, lines("127.0.0.1"))
    holder = "touch /tmp/held; sleep 1; touch /tmp/released"
    gateway.sh(f"flock /var/run/dnsmasq2.pid.lock sh -c '{holder}' >/dev/null 2>&1 &")
    gateway.wait_for(lambda: gateway.exists("/tmp/held"))
    gateway.run("/etc/init.d/dnsmasq2", "restart")
    assert gateway.exists("/tmp/released")
    assert len(only_forwarder(gateway)) == 1


def test_another_programs_number_in_the_pid_file_is_left_alone(gateway):
    gateway.sh("sleep 100 >/dev/null 2>&1 & echo $! >/var/run/dnsmasq2.pid")
    pid = gateway.read("/var/run/dnsmasq2.pid").strip()
    gateway.run("/etc/init.d/dnsmasq2", "stop")
    assert gateway.exists(f"/proc/{pid}/comm")


def test_usr1_does_not_end_it(gateway):
    gateway.write(FILE, lines("127.0.0.1"))
    gateway.run("/etc/init.d/dnsmasq2", "start")
    before = only_forwarder(gateway)
    gateway.run("killall", "-s", "USR1", "dnsmasq")
    gateway.sh("sleep 0.3")
    assert forwarders(gateway) == before


def test_update_makes_it_read_the_file_again(gateway):
    upstream(gateway)
    gateway.write(FILE, lines("127.0.0.1"))
    gateway.run("/etc/init.d/dnsmasq2", "start")
    assert "3fff:0:1::80" not in asked(gateway, "127.0.0.1")
    gateway.write(FILE, lines("127.0.0.1", "3fff:0:1::53"))
    before = only_forwarder(gateway)
    gateway.run("dnsmasq_update.sh")
    gateway.wait_for(lambda: "3fff:0:1::80" in asked(gateway, "127.0.0.1"), seconds=10)
    assert forwarders(gateway) == before


def test_update_without_a_forwarder_is_no_error_and_starts_none(gateway):
    gateway.run("dnsmasq_update.sh")
    assert forwarders(gateway) == []


def test_the_forwarder_does_not_hold_its_callers_output(gateway):
    # run() reads until the other end of the pipe is closed by everybody.
    gateway.write(FILE, lines("127.0.0.1"))
    gateway.run("/etc/init.d/dnsmasq2", "restart", timeout=20)
    assert pathlib.Path(f"/proc/{gateway.first}").exists()
