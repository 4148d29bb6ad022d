"""The nodes of a scenario and the wires between them: the gateway, upstream left of it, its LANs right of it."""
from dataclasses import dataclass, field

from ipv6trace.svg import CHARACTER, drawing, label, plain, tag

LINE = 18
GAP_X, GAP_Y = 64, 22
WIDEST = 46                 # characters in a box


@dataclass
class Box:
    name: str
    rows: list[tuple[str, str]]                 # (style class, text); the first is the title
    ports: dict[str, int] = field(default_factory=dict)         # row number of each port
    column: int = 0
    x: float = 0.0
    y: float = 0.0

    @property
    def width(self):
        return (min(max(len(text) for _, text in self.rows), WIDEST) + 3) * CHARACTER

    @property
    def height(self):
        return LINE * len(self.rows) + 12


def draw_topology(record, look):
    """`record` is that of a scenario (`topology`, `isp`), `look` its newest record of addresses."""
    topology = record.get("topology") or {}
    wires = [[end.partition(":")[::2] for end in wire] for wire in topology.get("wires") or []]
    bridges = {}
    for key, ports in (topology.get("bridges") or {}).items():
        node, _, bridge = key.partition(":")
        bridges.setdefault(node, {})[bridge] = ports
    boxes = {name: make_box(name, wires, bridges.get(name, {}), record, look) for name in topology.get("nodes") or []}
    if "gw" not in boxes:
        return tag("p", "The topology was not recorded.", cls="remark")
    loose = set_columns(boxes, wires, bridges.get("gw", {}))
    width, height = set_places(boxes, wires)
    parts = [draw_wire(boxes, wire) for wire in wires if wire[0][0] in boxes and wire[1][0] in boxes]
    parts += [draw_box(box) for box in boxes.values()]
    remark = tag("p", plain("Not wired: " + ", ".join(loose)), cls="remark") if loose else ""
    return drawing(width, height, *parts, title="Topology") + remark


def make_box(name, wires, bridges, record, look):
    """Title, ports (those of a bridge beneath it) and the addresses of each port or bridge."""
    box = Box(name, [("title", TITLES.get(name, name))])
    ends = sorted({end[1] for wire in wires for end in wire if end[0] == name})
    addresses = look.get("gateway", {}) if name == "gw" else {"eth0": look.get("hosts", {}).get(name, [])}
    bridged = {port for ports in bridges.values() for port in ports}
    for port in (port for port in ends if port not in bridged):
        add_port(box, port, "", addresses.get(port, []))
    for bridge, ports in sorted(bridges.items()):
        box.rows.append(("port", bridge))
        box.rows += [("address", f"  {text}") for text in addresses.get(bridge, []) if not text.startswith("fe80:")]
        for port in ports:
            add_port(box, port, "  ", [])
    if name == "isp":
        box.rows += [("address", text) for text in told_by(record.get("isp") or {})]
    return box


TITLES = {"isp": "isp  the provider", "gw": "gw  the gateway"}


def add_port(box, port, indent, addresses):
    box.ports[port] = len(box.rows)
    box.rows.append(("port", indent + port))
    box.rows += [("address", f"{indent}  {text}") for text in addresses if not text.startswith("fe80:")]


def told_by(isp):
    """What the provider offers, in a few lines."""
    lines = []
    if isp.get("advertise"):
        lines.append(f"advertises M={isp.get('managed', False):d} O={isp.get('other', False):d}")
    elif "advertise" in isp:
        lines.append("advertises nothing")
    if isp.get("line_prefix"):
        lines.append(f"line {isp['line_prefix']}")
    if isp.get("delegated_length"):
        lines.append(f"delegates a /{isp['delegated_length']} of {isp.get('delegated_from', '?')}")
    if isp.get("server_address"):
        lines.append(f"server {isp['server_address']}")
    return lines


def set_columns(boxes, wires, gateway_bridges):
    """Counts away from the gateway, negative upstream. Returns the nodes that no wire leads to."""
    lan_ports = {port for ports in gateway_bridges.values() for port in ports}
    reached, front = {"gw": 0}, ["gw"]
    while front:
        name = front.pop(0)
        for one, other in [pair for wire in wires for pair in (wire, wire[::-1])]:
            if one[0] != name or other[0] in reached or other[0] not in boxes:
                continue
            away = (1 if one[1] in lan_ports else -1) if name == "gw" else (1 if reached[name] > 0 else -1)
            reached[other[0]] = reached[name] + away
            front.append(other[0])
    for name, column in reached.items():
        boxes[name].column = column
    loose = [name for name in boxes if name not in reached]
    for name in loose:
        del boxes[name]
    return loose


def set_places(boxes, wires):
    """Columns side by side; in a column, boxes in the order of the ports that they are wired to. Returns the size."""
    x, lowest = 10.0, 0.0
    for column in sorted({box.column for box in boxes.values()}):
        members = [box for box in boxes.values() if box.column == column]
        members.sort(key=lambda box: port_order(box, boxes, wires))
        y = 10.0
        for box in members:
            box.x, box.y = x, y
            y += box.height + GAP_Y
        lowest = max(lowest, y)
        x += max(box.width for box in members) + GAP_X
    for column in {box.column for box in boxes.values()}:       # shorter columns in the middle
        members = [box for box in boxes.values() if box.column == column]
        shift = (lowest - max(box.y + box.height + GAP_Y for box in members)) / 2
        for box in members:
            box.y += shift
    return x - GAP_X + 10, lowest - GAP_Y + 10


def port_order(box, boxes, wires):
    inner = [boxes[other[0]].ports.get(other[1], 0) for wire in wires for one, other in (wire, wire[::-1])
             if one[0] == box.name and other[0] in boxes and abs(boxes[other[0]].column) < abs(box.column)]
    return (min(inner, default=99), box.name)


def draw_box(box):
    parts = [tag("rect", x=box.x, y=box.y, width=box.width, height=float(box.height), rx=6, cls="node")]
    for number, (style, text) in enumerate(box.rows):
        shown = text.lstrip()
        indent = (len(text) - len(shown)) * CHARACTER
        parts.append(label(box.x + 10 + indent, box.y + 19 + number * LINE, shown, WIDEST, f"label {style}"))
    return tag("g", *parts)


def draw_wire(boxes, wire):
    (one, one_port), (other, other_port) = wire
    if boxes[one].column > boxes[other].column:
        (one, one_port), (other, other_port) = (other, other_port), (one, one_port)
    left, right = boxes[one], boxes[other]
    same = left.column == right.column
    x1, x2 = left.x + left.width, right.x + (right.width if same else 0)
    y1, y2 = (box.y + 15 + box.ports.get(port, 0) * LINE for box, port in ((left, one_port), (right, other_port)))
    bend = 40 if same else (x2 - x1) / 2
    back = bend if same else -bend
    path = f"M{x1:.1f} {y1:.1f}C{x1 + bend:.1f} {y1:.1f} {x2 + back:.1f} {y2:.1f} {x2:.1f} {y2:.1f}"
    dots = "".join(tag("circle", cx=x, cy=y, r=3, cls="plug") for x, y in ((x1, y1), (x2, y2)))
    return tag("path", d=path, cls="wire", data_tip=f"{one} {one_port} - {other} {other_port}") + dots
