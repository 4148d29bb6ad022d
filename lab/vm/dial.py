"""The modem of the PPP flow's gateway: pppd runs it with its terminal as standard input and output, and it carries what
passes there to the subscriber line and back, until either end is closed."""
import os
import select
import socket

LINE = "/run/line"


def main():
    with socket.socket(socket.AF_UNIX) as line:
        line.connect(LINE)
        ways = {0: line.fileno(), line.fileno(): 1}
        while True:
            for source in select.select(list(ways), [], [])[0]:
                data = os.read(source, 65536)
                if not data:
                    return
                while data:
                    data = data[os.write(ways[source], data):]


if __name__ == "__main__":
    try:
        main()
    except OSError as error:
        raise SystemExit(f"dial: {error.strerror}") from None
