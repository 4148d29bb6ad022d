"""The tree of prefixes at one moment: delegated, carved for each bridge, unique-local, and the addresses in each."""
import ipaddress
from dataclasses import dataclass, field

from ipv6trace.svg import CHARACTER, drawing, label, tag

LINE, INDENT = 22, 26
BRIDGE = {"lan0": "br-lan", "lan1": "br-lan1"}


@dataclass
class Branch:
    text: str
    remark: str
    kind: str                                   # a class of the style sheet
    children: list["Branch"] = field(default_factory=list)


def draw_prefixes(look):
    """`look` is a record of prefixes and addresses (see `Scenario.look`)."""
    rows = []
    for root in roots_of(look):
        flatten(root, 0, None, rows)
    if not rows:
        return tag("p", "No prefix and no address at that moment.", cls="remark")
    remark_x = 14 + max(depth * INDENT + (len(branch.text) + 2) * CHARACTER for branch, depth, _ in rows)
    parts, width = [], 0.0
    for number, (branch, depth, parent) in enumerate(rows):
        x, y = 14 + depth * INDENT, 18 + number * LINE
        if parent is not None:
            bend = 20 + (depth - 1) * INDENT
            parts.append(tag("path", d=f"M{bend} {18 + parent * LINE + 4}V{y - 4}H{x - 4}", cls="twig"))
        parts.append(label(x, y, branch.text, 64, f"label {branch.kind}"))
        style = "bad-text" if branch.kind == "bad-text" else "faint"
        parts.append(label(remark_x, y, branch.remark, 60, f"label {style}"))
        width = max(width, remark_x + len(branch.remark) * CHARACTER)
    return drawing(width + 14, 14 + LINE * len(rows), *parts, title="Prefixes and addresses")


def flatten(branch, depth, parent, rows):
    rows.append((branch, depth, parent))
    own = len(rows) - 1
    for child in branch.children:
        flatten(child, depth + 1, own, rows)


def roots_of(look):
    addresses = [(owner_text("gw", interface), text) for interface, texts in (look.get("gateway") or {}).items()
                 for text in texts]
    addresses += [(host, text) for host, texts in (look.get("hosts") or {}).items() for text in texts]
    addresses = [pair for pair in addresses if not pair[1].startswith("fe80:")]
    roots = []
    delegated = network_of(look.get("delegated"))
    root = Branch(str(delegated), "delegated by the provider", "delegated") if delegated else None
    for kind, remark in (("carved", "carved"), ("unique_local", "unique-local")):
        for section, prefixes in (look.get(kind) or {}).items():
            for prefix in prefixes:
                branch = prefix_branch(prefix, f"{remark}, on {BRIDGE.get(section, section)}", kind, addresses)
                inside = root and kind == "carved" and is_inside(network_of(prefix), delegated)
                if inside:
                    root.children.append(branch)
                else:
                    if kind == "carved":
                        branch.kind, branch.remark = "bad-text", branch.remark + ", but not of the delegated prefix"
                    roots.append(branch)
    if root:
        roots.insert(0, root)
    for owner, text in addresses:               # what no prefix took
        wan = owner.startswith("gw") and "br-" not in owner
        of_the_delegated = wan and root and is_inside(network_of(text), delegated)     # a tunnel has its own from there
        (root.children if of_the_delegated else roots).append(
            Branch(text, f"{owner}, on the line" if wan else f"{owner}, in no prefix of a LAN",
                   "address" if wan else "bad-text"))
    return roots


def prefix_branch(prefix, remark, kind, addresses):
    """Takes the addresses that are in the prefix out of the list."""
    network = network_of(prefix)
    branch = Branch(prefix, remark, kind)
    for owner, text in list(addresses):
        if network and is_inside(network_of(text), network):
            branch.children.append(Branch(text, owner, "address"))
            addresses.remove((owner, text))
    return branch


def owner_text(node, interface):
    return f"{node} {interface}"


def network_of(text):
    try:
        return ipaddress.ip_network(text, strict=False)
    except (ValueError, TypeError):
        return None


def is_inside(inner, outer):
    return bool(inner and outer and inner.version == outer.version and inner.subnet_of(outer))


def distinct_looks(looks):
    """[(labels, look)]: looks that show the same as the one before them are told together."""
    found = []
    for look in looks:
        what = {key: value for key, value in look.items() if key not in ("t", "label")}
        if found and found[-1][2] == what:
            found[-1][0].append(str(look.get("label", "")))
        else:
            found.append(([str(look.get("label", ""))], look, what))
    return [(", ".join(labels), look) for labels, look, _ in found]
