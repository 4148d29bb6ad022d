"""What a command of ipv6ctl would do with somebody's settings: run in a recorded root, told, and shown to the daemons."""
