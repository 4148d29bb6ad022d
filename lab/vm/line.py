"""The subscriber line of the PPP flow: PROGRAM SOCKET PROVIDER_PID FOLDER.

Whoever connects to the socket is on the line, and the provider answers: a pppd of its own in the provider's node, with
the connection as its terminal. The line is cut when the connection ends. It belongs to neither of the nodes, as a real
one does. The number of the newest provider's pppd is in FOLDER/pppd.pid, what it says is added to FOLDER/pppd.log.
"""
import os
import socket
import subprocess
import sys

PPPD = ("pppd", "notty", "noauth", "local", "nodetach", "debug", "logfd", "2", "192.0.2.1:192.0.2.50", "ifname",
        "access0", "+ipv6", "ipv6", "::a,::b", "ipparam", "line")


def main():
    place, provider, folder = sys.argv[1:]
    with socket.socket(socket.AF_UNIX) as listener, open(f"{folder}/pppd.log", "ab") as log:
        listener.bind(place)
        listener.listen()
        print("ready", flush=True)
        while True:
            connection, _ = listener.accept()
            with connection:
                # One line, one session: the next dial waits until the provider has noticed the end of this one.
                session = subprocess.Popen(["nsenter", "-t", provider, "-m", "-n", "-p", "-u", "-i", "--", *PPPD],
                                           stdin=connection, stdout=connection, stderr=log, pass_fds=())
            session.wait()
            print(f"session ended with {session.returncode}", flush=True)


if __name__ == "__main__":
    os.environ["PATH"] = "/usr/sbin:/usr/bin:/sbin:/bin"
    main()
