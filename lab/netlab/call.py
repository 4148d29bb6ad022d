"""Calls a server: PROGRAM tcp|udp ADDRESS PORT [TIMEOUT]. Prints its answer; status 1 when refused, 2 when silent."""
import socket
import sys


def main():
    kind = {"tcp": socket.SOCK_STREAM, "udp": socket.SOCK_DGRAM}[sys.argv[1]]
    with socket.socket(socket.AF_INET6, kind) as sock:
        sock.settimeout(float(sys.argv[4]) if len(sys.argv) > 4 else 5.0)
        try:
            sock.connect((sys.argv[2], int(sys.argv[3])))
            if kind == socket.SOCK_DGRAM:
                sock.send(b"hello\n")
            print(sock.recv(200).decode().strip(), "from", sock.getsockname()[0])
        except TimeoutError:
            print("no answer")
            sys.exit(2)
        except OSError as error:
            print(error.strerror)
            sys.exit(1)


if __name__ == "__main__":
    main()
