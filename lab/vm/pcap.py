"""Capture files, record by record."""
import struct

FILE_HEADER, RECORD_HEADER = 24, 16         # octets


def byte_order(data):
    return "<" if data[:1] in (b"\xd4", b"\x4d") else ">"


def frames(path):
    """(seconds since 1970, octets) of each record of a capture file. One that is still being written is left out."""
    data = path.read_bytes()
    order, found, at = byte_order(data), [], FILE_HEADER
    while at + RECORD_HEADER <= len(data):
        seconds, micro, length, _ = struct.unpack_from(order + "IIII", data, at)
        at += RECORD_HEADER + length
        if at <= len(data):
            found.append((seconds + micro * 1e-6, data[at - length:at]))
    return found


def write(file, records):
    """Writes a capture file of Ethernet frames."""
    file.write(struct.pack("<IHHiIII", 0xa1b2c3d4, 2, 4, 0, 0, 65535, 1))
    for time, frame in records:
        file.write(struct.pack("<IIII", int(time), round(time % 1 * 1e6), len(frame), len(frame)) + frame)
    file.flush()
