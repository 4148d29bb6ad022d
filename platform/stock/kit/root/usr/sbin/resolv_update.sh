#!/bin/sh
# resolv_update.sh SYSTEM
#
# The real one rebuilds /tmp/resolv.conf.auto, the upstream name servers of the DNS forwarder, from the configuration.
#
# This one does that too, for a caller that has not committed yet. The program reads the IPv4 servers out of the file
# (they are what the WAN link wrote), stores the first as dns and the last address behind it as sdns of the WAN section,
# runs this script, and appends the IPv6 servers that are in force, leaving out an address that the file has already.
# What it has just stored cannot be seen from here. So:
# - The loopback entry comes first.
# - Then the IPv4 servers that the file holds, in their order: its first one is the dns to be committed, and none of
#   them may get lost. A file without any is rebuilt from the stored dns and sdns.
# - Then the stored sdns, when the file has nothing behind its first IPv4 server; then and only then it stays in force.
# - IPv6 servers of the file are left out: those in force are appended again, and one of an earlier lease would stay
#   for good (or hide a new one, since "2001:db8::1" is found in "2001:db8::10"). The pair that the administrator
#   has set for the whole system is written here, because not every caller of this script has it at hand.
# - dns and sdns may hold part of an IPv6 address, which is what the file ended with: only IPv4 is taken from there.
# The new file takes the old one's place in one step, or not at all (exit status 1).
set -u
PATH=${PATH:+$PATH:}/usr/sbin:/usr/bin:/sbin:/bin
FILE=/tmp/resolv.conf.auto

if [ "${1-}" != SYSTEM ]; then
    echo "usage: resolv_update.sh SYSTEM" >&2
    exit 2
fi

section=$(if2sect.sh "$(wandataif.sh)")
dns=$(ccfg_cli get "dns@$section" 2>/dev/null)
sdns=$(ccfg_cli get "sdns@$section" 2>/dev/null)
six1=$(ccfg_cli get ip6_dns1@system 2>/dev/null)
six2=$(ccfg_cli get ip6_dns2@system 2>/dev/null)
[ -n "$six1" ] || six2=

new=$(mktemp "$FILE.XXXXXX") || exit 1
trap 'rm -f "$new"' EXIT
trap 'exit 1' HUP INT TERM

{ [ -f "$FILE" ] && cat "$FILE"; } | awk -v dns="$dns" -v sdns="$sdns" -v six1="$six1" -v six2="$six2" '
    function is_ipv4(text,    part, i)
    {
        if (split(text, part, ".") != 4)
            return 0
        for (i = 1; i <= 4; i++)
            if (part[i] !~ /^[0-9]+$/ || length(part[i]) > 3 || part[i] > 255)
                return 0
        return 1
    }
    function is_ipv6(text) { return text ~ /:/ && text ~ /^[0-9A-Fa-f:.]+$/ && length(text) <= 45 }
    function write(server) { if (!(server in written)) print "nameserver " server; written[server] = 1 }
    BEGIN { write("127.0.0.1") }
    $1 == "nameserver" && $2 != "127.0.0.1" {
        if (fours)
            behind++
        if (is_ipv4($2)) {
            write($2)
            fours++
        }
    }
    END {
        if (!fours && is_ipv4(dns))
            write(dns)
        if (!behind && is_ipv4(sdns))
            write(sdns)
        if (is_ipv6(six1))
            write(six1)
        if (is_ipv6(six2))
            write(six2)
    }' >"$new" || exit 1
chmod 644 "$new" && mv -f "$new" "$FILE"
