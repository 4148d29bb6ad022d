"""Traffic between nodes: calls, echo requests and the servers that answer."""
from netlab.node import PYTHON
from netlab.wait import NotYet, wait_for

ANSWERED, REFUSED, SILENT = 0, 1, 2


def call(node, protocol, address, port, patience=5.0):
    """Calls a server from a node over "tcp" or "udp", or with port 0 and "icmp" asks for an echo. Returns ANSWERED,
    REFUSED or SILENT and a text: what the server said and, after "from", the caller's own address."""
    done = node.run(PYTHON, "-I", "/lab/src/netlab/call.py", protocol, address, port, patience, timeout=patience + 20)
    return done.returncode, done.stdout.strip() or done.stderr.strip()


def listen(node, tcp=(), udp=()):
    """Starts a server on a node (see `callback_server`) and returns when it listens."""
    ports = [text for port in tcp for text in ("--tcp", port)] + [text for port in udp for text in ("--udp", port)]
    service = node.python("server", "callback_server", *ports, "--log", "/lab/out/server.jsonl")

    def probe():
        sockets = node.must("ss", "-6", "-H", "-l", "-n", "-t", "-u")
        missing = [port for port in (*tcp, *udp) if f":{port} " not in sockets]
        if missing:
            raise NotYet(f"{node.name} does not listen on {missing}: {service.log().strip()}")
    wait_for(probe)
