"""One gateway in a lab of its own: from nothing to its first delegation, and on to another one. What took how long."""
import dataclasses
import ipaddress
import json
import shutil
from pathlib import Path

from netlab.capture import Capture
from netlab.host import INTERFACE
from netlab.isp import ACCESS, IspConfig
from netlab.kea import KeaIsp
from netlab.node import PYTHON
from netlab.topology import KIT, Lab
from netlab.wait import need, wait_for

from contenders import Ours
from split import Part, split

HERE = Path(__file__).resolve().parent
FIRST, RENUMBERING = "first delegation", "renumbering"
CHANGES = (FIRST, RENUMBERING)
ANOTHER = "3fff:100:b000:100::/56"
RENEW = 12                  # seconds from a lease to its renewal, at which the provider delegates another prefix
PATIENCE = 90.0


class EventLab(Lab):
    """The lab of the tests, with the gateway of a contender."""

    def __init__(self, out, contender, build):
        config = IspConfig(renew=RENEW, rebind=300, preferred=600, valid=900)
        super().__init__(out, build, isp=lambda folder: KeaIsp(folder, config))
        place = self.out / "gw"
        self.gw = contender(place, Path(build).resolve(), KIT) if issubclass(contender, Ours) else contender(place)
        self.nodes = {node.name: node for node in (self.isp, self.gw, *self.hosts)}


def watch(node):
    """Starts to write down each change of the node's addresses."""
    shutil.copyfile(HERE / "address_watch.py", node.path("/run/address_watch.py"))
    return node.spawn("address_watch", PYTHON, "-I", "/run/address_watch.py")


def sightings(node):
    """The changes so far: [(time, interface, address, state)]."""
    records = [json.loads(line) for line in node.read("/lab/out/address_watch.log").splitlines() if line.endswith("}")]
    return [(each["t"], each["interface"], ipaddress.ip_address(each["address"]), each["state"]) for each in records]


def first(what, found):
    """The first one, or `NotYet`."""
    for each in found:
        return each
    return need(False, f"there is no {what} yet")


def delegation_reply(line, wanted):
    """(Reply, prefix): the first Reply that delegates the wanted prefix, or any when none is wanted."""
    def delegated():
        for reply in line.dhcp("REPLY"):
            for network, _, valid in reply.prefixes:
                if valid > 0 and wanted in (None, network):
                    yield reply, ipaddress.ip_network(network)
    return first("Reply with a delegation", delegated())


def advertisement_of(lan, since, delegated):
    """(time, prefix) of the first advertisement since a moment from which a host makes an address of a delegation."""
    def made():
        for each in lan.advertisements(since):
            for network, _, autonomous, valid, _ in each.prefixes:
                network = ipaddress.ip_network(network)
                if autonomous and valid > 0 and network.subnet_of(delegated):
                    yield each.time, network
    return first("advertisement of the delegation", made())


def host_address(host, since, network, state):
    """When the host's address of a prefix was first seen in a state."""
    return first(f"{state} address of {host.name} in {network}",
                 (moment for moment, name, address, seen in sightings(host)
                  if name == INTERFACE and seen == state and address in network and moment >= since))


def detections(gw, end):
    """The times in which the kernel looked for duplicates of the gateway's public addresses."""
    found, open_at = [], {}
    for moment, interface, address, state in sightings(gw):
        if address not in ipaddress.ip_network("3fff::/20"):
            continue
        if state == "tentative":
            open_at.setdefault((interface, address), moment)
        elif (interface, address) in open_at:
            found.append(Part("detection", f"addresses on {interface}", open_at.pop((interface, address)), moment))
    return found + [Part("detection", f"addresses on {place[0]}", begin, end) for place, begin in open_at.items()]


@dataclasses.dataclass
class Measurement:
    """Moments in seconds after the Reply, and the parts that together are the time to the usable address of host0."""
    prefix: str
    advertised: float
    tentative: float
    usable: float
    second_host_tentative: float
    second_host_usable: float
    parts: list             # [{"kind", "name", "seconds"}], in their order


def collect(lab, captures, wanted=None):
    """The measurement of the first delegation (of the wanted prefix); `NotYet` while it is not complete."""
    line, *lans = captures
    reply, delegated = delegation_reply(line, wanted)
    at = reply.time
    heard = [advertisement_of(lan, at, delegated) for lan in lans]
    tentative = [host_address(host, at, network, "tentative") for host, (_, network) in zip(lab.hosts, heard)]
    usable = [host_address(host, at, network, "usable") for host, (_, network) in zip(lab.hosts, heard)]
    advertised = heard[0][0]
    parts = lab.gw.parts(at, advertised) + (detections(lab.gw, advertised) if lab.gw.awaits_detection else [])
    started = lab.gw.advertising_starts(at, advertised)
    chain = split(parts, at, started, ("client", lab.gw.client))
    if started < advertised:
        chain.append(Part("daemon", lab.gw.daemon, started, advertised))
    chain += [Part("host", "from the advertisement to the tentative address", advertised, tentative[0]),
              Part("host detection", "from tentative to usable", tentative[0], usable[0])]
    told = [{"kind": part.kind, "name": part.name, "seconds": round(part.seconds, 6)} for part in chain]
    return Measurement(str(delegated), advertised - at, tentative[0] - at, usable[0] - at, tentative[1] - at,
                       usable[1] - at, told)


def idle(gw):
    need(not gw.busy(), "the gateway is at work")


def measure(contender, out, build):
    """{change: Measurement} of one gateway, in a lab of its own in the folder `out`."""
    with EventLab(out, contender, build) as lab:
        for node in (lab.gw, *lab.hosts):
            watch(node)
        captures = [Capture(lab.isp, ACCESS, "line"), *[Capture(host, INTERFACE, "lan") for host in lab.hosts]]
        lab.isp.start_services()
        lab.isp.await_services()
        try:
            lab.gw.begin()
            lab.connect_wan()
            lab.gw.ask()
            found = {FIRST: wait_for(lambda: collect(lab, captures), PATIENCE)}
            wait_for(lambda: idle(lab.gw), PATIENCE)
            client, = {reply.client_id for reply in captures[0].dhcp("REPLY") if reply.prefixes}
            lab.isp.change_dhcp(subscriber=client, fixed_prefix=ANOTHER)
            found[RENUMBERING] = wait_for(lambda: collect(lab, captures, ANOTHER), PATIENCE)
        finally:
            lab.keep_files()
    return found

