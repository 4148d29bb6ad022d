"""The lab as a whole: four nodes and three wires, made together and gone together, and nodes that are added to it."""
import json
import os
import shutil
import time
from pathlib import Path

from netlab.gateway import BRIDGES, Gateway
from netlab.host import INTERFACE, Host
from netlab.isp import ACCESS, Isp
from netlab.node import Node, NodeError

REPOSITORY = Path(__file__).resolve().parents[2]
MARK = ".lab"               # says that a folder is a lab's to empty
KIT = REPOSITORY / "platform" / "stock" / "kit"

PICTURE = """\
  isp  {access}  {line}                 {server} is {name}
   |             router advertisements, DHCPv6 with delegation, name service
   | wire
   |
  gw   {wan}     ipv6ctl, the kit, radvd, dhcpd, rdnssd, dnsmasq, ip6tables
   |-- br-lan  -- wire -- eth0  host0
   `-- br-lan1 -- wire -- eth0  host1
"""


class Lab:
    """Context manager: the nodes exist inside the `with` block. Files of each node are in `out`/NODE.

    `isp` is the provider's IspConfig or a function that makes the provider's node for a folder. With `shared_line` the
    provider's end of the subscriber line is a bridge, so that further nodes can be put on the line (`add_neighbor`).
    """

    def __init__(self, out, build=REPOSITORY / "build", kit=KIT, isp=None, shared_line=False):
        self.out = Path(out).resolve()
        self.isp = isp(self.out / "isp") if callable(isp) else Isp(self.out / "isp", isp)
        self.shared_line = shared_line
        self.wires = []                     # ((node, interface), (node, interface)) of each
        self.gw = Gateway(self.out / "gw", Path(build).resolve(), Path(kit).resolve())
        self.hosts = [Host("host0", self.out / "host0"), Host("host1", self.out / "host1")]
        self.nodes = {node.name: node for node in (self.isp, self.gw, *self.hosts)}

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def start(self):
        """Nodes, wires and bridges; the hosts are plugged in, the subscriber line is not (see `connect_wan`)."""
        if state_of(self.out):
            raise NodeError(f"a lab is already at work in {self.out}")
        empty_folder(self.out)
        self.write_state("starting")
        self.gw.boot(console=self.out / "console.log")
        for node in (self.isp, *self.hosts):
            node.start()
        port = "line0" if self.shared_line else ACCESS
        if self.shared_line:
            self.isp.make_bridge(ACCESS, "02:00:00:00:64:fe")
        self.wire(self.gw, self.gw.wan, "02:00:00:00:64:01", self.isp, port,
                  "02:00:00:00:64:f0" if self.shared_line else "02:00:00:00:64:fe")
        if self.shared_line:
            self.isp.plug_into_bridge(ACCESS, port)
        # The provider's port is there long before its subscriber: no duplicate detection when the line is plugged in.
        self.isp.must("sysctl", "-q", "-w", f"net.ipv6.conf.{ACCESS}.dad_transmits=0")
        self.isp.must("ip", "link", "set", ACCESS, "up")
        self.gw.prepare_wan()
        for number, (host, bridge) in enumerate(zip(self.hosts, BRIDGES)):
            port = f"lan{number}"
            self.gw.make_bridge(bridge, f"02:00:00:00:0{number}:01")
            self.wire(self.gw, port, f"02:00:00:00:0{number}:02", host, INTERFACE, f"02:00:00:00:0{number}:10")
            self.gw.plug_into_bridge(bridge, port)
            host.prepare()
            host.must("ip", "link", "set", INTERFACE, "up")
        self.write_state("ready")

    def wire(self, one, one_name, one_mac, other, other_name, other_mac):
        """A cable between two nodes; both ends are down."""
        one.must("ip", "link", "add", one_name, "address", one_mac, "type", "veth", "peer", "name", other_name,
                 "address", other_mac, "netns", other.pid, only_network=True)
        self.wires.append(((one.name, one_name), (other.name, other_name)))

    def add_node(self, node):
        """Takes one more node into the lab and starts it. It has no wire yet. Returns it."""
        if node.name in self.nodes:
            raise NodeError(f"there is already a node {node.name}")
        self.nodes[node.name] = node
        node.start()
        self.write_state("ready")
        return node

    def add_host(self, name, lan=0):
        """One more host, plugged into the bridge of that LAN; its link is up. Returns it; it is also in `hosts`."""
        host = self.add_node(Host(name, self.out / name))
        number = len(self.hosts)
        self.hosts.append(host)
        port = f"lan{number}"
        self.wire(self.gw, port, f"02:00:00:00:{number:02x}:02", host, INTERFACE, f"02:00:00:00:{number:02x}:10")
        self.gw.plug_into_bridge(BRIDGES[lan], port)
        host.prepare()
        host.must("ip", "link", "set", INTERFACE, "up")
        return host

    def add_neighbor(self, name, node=None):
        """One more node on a shared subscriber line; its end is its `eth0`, and it is down. Returns the node."""
        if not self.shared_line:
            raise NodeError("only a lab with a shared line takes a neighbor")
        node = self.add_node(node or Node(name, self.out / name))
        number = sum(1 for one, other in self.wires if "isp" in (one[0], other[0]))
        self.wire(node, "eth0", f"02:00:00:00:64:{number + 1:02x}", self.isp, f"line{number}",
                  f"02:00:00:00:64:{0xf0 + number:02x}")
        self.isp.plug_into_bridge(ACCESS, f"line{number}")
        return node

    def connect_wan(self):
        """Plugs the subscriber line in at the gateway."""
        self.gw.must("ip", "link", "set", self.gw.wan, "up")

    def write_state(self, phase):
        """What another process needs to enter, watch or end this lab."""
        state = {"phase": phase, "pid": os.getpid(), "started": start_time(os.getpid()), "time": time.time(),
                 "wan": self.gw.wan, "wan_section": self.gw.wan_section,
                 "nodes": {name: {"pid": node.pid, "started": start_time(node.pid), "namespaces": node.namespaces()}
                           for name, node in self.nodes.items() if node.pid}}
        temporary = self.out / "state.json.new"
        temporary.write_text(json.dumps(state, indent=1) + "\n", encoding="utf-8")
        temporary.rename(self.out / "state.json")

    def keep_files(self):
        """Saves what would vanish with the nodes."""
        if self.gw.pid:
            self.gw.keep_files()

    def picture(self):
        config = self.isp.config
        return PICTURE.format(access=ACCESS, line=config.line_prefix, server=config.server_address,
                              name=config.server_name, wan=self.gw.wan)

    def close(self):
        for node in reversed(self.nodes.values()):
            node.close()
        if (state_of(self.out) or {}).get("pid") == os.getpid():
            (self.out / "state.json").unlink()


def start_time(pid):
    """When a process started, in clock ticks since boot: with the pid it names a process for good. None when it has
    ended, also when nobody has fetched its status yet."""
    try:
        columns = Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()
    except OSError:
        return None
    return None if columns[0] in "ZX" else int(columns[19])


def state_of(folder):
    """The state of the lab that lives in a folder, or None. What a killed lab left written is removed."""
    path = folder / "state.json"
    try:
        state = json.loads(path.read_text(encoding="utf-8"))
    except (OSError, ValueError):
        return None
    if start_time(state["pid"]) != state["started"]:
        path.unlink(missing_ok=True)
        return None
    return state


def empty_folder(folder):
    """Empties the folder of an earlier lab. Any other folder with something in it is refused."""
    folder.mkdir(parents=True, exist_ok=True)
    entries = list(folder.iterdir())
    if entries and folder / MARK not in entries:
        raise NodeError(f"{folder} holds files that are not a lab's; name another folder")
    (folder / MARK).touch()
    for entry in entries:
        if entry.name == MARK:
            continue
        if entry.is_dir() and not entry.is_symlink():
            shutil.rmtree(entry)
        else:
            entry.unlink()
