"""Instructions that the program itself carries out, counted by callgrind; the C library and the loader are left out."""

import place as places
from scenes import FLOOR, Scene, lan_restart, neighbors

OWN = "/usr/sbin/ipv6ctl"
_TOOLS = "/usr/libexec/valgrind"

FILTER_RECORD = "web{0};3fff:1234:5600:1::{0:x};tcp;80{0:02d};80{0:02d};;;;"


def with_filter(count, counts_for=True):
    """A LAN restart with so many records of the user's filter, or, not `counts_for`, with a count that puts them out
    of force; the store has the same size in both cases."""
    records = "/".join(FILTER_RECORD.format(number) for number in range(1, count + 1))
    number = str(count) if counts_for else "0" * len(str(count))
    return lan_restart(**{"ip6_filter_cnt@wan100": number, "ip6_filter_list@wan100": records})


# What the guard counts: name -> (words, scene).
SCENES = {
    **FLOOR,
    "no command": (("ipv6ctl",), Scene()),
    "zel_ip6neigh_update, 50 neighbors": (("zel_ip6neigh_update",), neighbors(50)),
    "ipv6_lan_restart, 20 filter records": (("ipv6_lan_restart",), with_filter(20)),
}


def own_instructions(text):
    """The sum of the self costs of a callgrind file in functions of the program's own binary."""
    total, own, follows_call = 0, False, False
    for line in text.splitlines():
        if line.startswith("ob="):
            own = line.endswith(OWN)
        elif line.startswith("calls="):
            follows_call = True             # the next line has what the called function cost, all in all
        elif line[:1].isdigit():
            if own and not follows_call:
                total += int(line.split()[1])
            follows_call = False
    return total


def count(place, words, scene):
    """Instructions of one run."""
    place.furnish(scene)
    starter = ["/host/valgrind.bin", "valgrind.bin", "--tool=callgrind", "--callgrind-out-file=/gw/out/callgrind",
               "--compress-strings=no", "--compress-pos=no", "--trace-children=no", f"/usr/sbin/{words[0]}", *words[1:]]
    found, = place.sample(starter, rounds=1, warmup=0, extra=["--ro-bind", _TOOLS, "/gw/valgrind"],
                          variables={"VALGRIND_LIB": "/gw/valgrind"})
    if found.statuses != {1}:
        raise RuntimeError(f"{words} under callgrind: status {found.statuses}")
    return own_instructions(place.read("out/callgrind").decode())


def count_all(wanted=SCENES):
    with places.Place() as place:
        return {name: count(place, *wanted[name]) for name in wanted}
