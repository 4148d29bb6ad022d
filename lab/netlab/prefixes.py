"""What addresses ought to be, worked out here independently of the program."""
import ipaddress


def eui64(network, mac):
    """The address of a MAC address in a /64 (RFC 4291, appendix A)."""
    octets = bytearray(bytes.fromhex(mac.replace(":", "")))
    octets[0] ^= 2
    identifier = bytes(octets[:3]) + b"\xff\xfe" + bytes(octets[3:])
    return ipaddress.ip_network(network)[0] + int.from_bytes(identifier, "big")


def unique_local(global_id, subnet_id):
    """The /64 of a 40-bit global id (xx:xxxx:xxxx) and a subnet id (RFC 4193)."""
    value = (0xfd << 120) | (int(global_id.replace(":", ""), 16) << 80) | (int(subnet_id, 16) << 64)
    return ipaddress.ip_network((value, 64))


def carved(delegated, subnet_id):
    """The /64 with this subnet id (decimal digits, as the device reads it) inside a delegated prefix of at most /56."""
    network = ipaddress.ip_network(delegated)
    return ipaddress.ip_network((int(network.network_address) | (int(subnet_id) << 64), 64))
