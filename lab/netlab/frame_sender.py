"""Sends frames as they are: PROGRAM INTERFACE PAUSE, one frame in hexadecimal digits a line of the standard input.

The pause behind each, in seconds, keeps a train of them under the rates to which a packet filter limits what passes.
"""
import os
import socket
import sys
import time


def main():
    # One processor keeps them in their order all the way through a pair of virtual interfaces.
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    pause = float(sys.argv[2])
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW) as sock:
        sock.bind((sys.argv[1], 0))
        for line in sys.stdin:
            sock.send(bytes.fromhex(line))
            time.sleep(pause)


if __name__ == "__main__":
    main()
