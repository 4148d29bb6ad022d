"""Runs the program in a private root and notes all that it does; the device tests and ipv6rehearse use it."""
