#!/bin/sh
# ipv6_lan_restart as a shell script, to have something to compare the program with: what somebody who knows the shell
# well would put into a firmware. The settings are read once, text is cut and joined by the shell itself, no program is
# started that has nothing to do for the gateway, and no line goes through a shell of its own.
#
# Does for a WAN with a delegated prefix what the program does. It leaves out the extra routes, the user's filter, the
# tunnel, the checks of values from outside and, but for the lines that are run, the log.
# PAUSE: what waits, "sleep" unless set.
set -u
pause=${PAUSE:-sleep}
changes=

log() {
    read -r uptime _ </proc/uptime
    echo "[$1][${uptime%.*}] $2" >>/tmp/ipv6.log
}

run() {
    "$@"
    log zel_system "[$?]$*"
}

run_behind() {
    "$@" &
    log zel_system "[0]$* &"
}

say() {
    echo "$1" >/dev/console
}

# save NAME KEY@SECTION VALUE: into the variable and, all together at the end, into the store
save() {
    eval "$1=\$3"
    changes="$changes$2=$3
"
}

# first_half ADDRESS: its first four groups as numbers in group1..group4
first_half() {
    rest=$1
    group1=0 group2=0 group3=0 group4=0
    for number in 1 2 3 4; do
        group=${rest%%:*}
        [ -n "$group" ] || return 0 # the two colons that stand for zeros
        eval "group$number=$((0x$group))"
        rest=${rest#*:}
    done
}

# host_id MAC: the modified EUI-64 in capitals
host_id() {
    old_ifs=$IFS
    IFS=:
    # shellcheck disable=SC2086 # split at the colons
    set -- $1
    IFS=$old_ifs
    eui=$(printf '%02X%02X:%02XFF:FE%02X:%02X%02X' $((0x$1 ^ 2)) $((0x$2)) $((0x$3)) $((0x$4)) $((0x$5)) $((0x$6)))
}

# carve SUBNET_ID HOST_ID: the bridge's prefix and address from the delegated one
carve() {
    sid=${1#0}
    if [ "$delegated_length" -ge 57 ]; then
        sid=$((sid & ((1 << (64 - delegated_length)) - 1)))
    fi
    first_half "$delegated"
    group4=$((group4 | sid))
    carved=$(printf '%x:%x:%x:%x' "$group1" "$group2" "$group3" "$group4")
    while :; do
        case $carved in *:0) carved=${carved%:0} ;; *) break ;; esac
    done
    carved=$carved::
    carved_address=$(printf '%04X:%04X:%04X:%04X:%s' "$group1" "$group2" "$group3" "$group4" "$2")
}

# --- settings

lan_ip6_addr='' lan_ip6_pfxlen=0 lan_sid='' lan_gid='' lan_ula_sid='' lan_ula='' lan_ula_enabled=0
lan_ula_second='' lan_host='' lan_manual_host=0 lan_ula_prefer=0 lan_ula_valid=0
lan1_ip6_addr='' lan1_ip6_pfxlen=0 lan1_sid='' lan1_gid='' lan1_ula_sid='' lan1_ula='' lan1_ula_enabled=0
lan1_ula_second='' lan1_host='' lan1_manual_host=0 lan1_ula_prefer=0 lan1_ula_valid=0
proto=dhcp delegated='' delegated_length=56 wan_address='' wan_prefix='' wan_length=0 dns1='' dns2='' domain='' mtu=1492
lease=86400 life=604800 system_dns1='' system_dns2=''
wan=$(wandataif.sh)
sect=$(if2sect.sh "$wan")
while IFS='=' read -r key value; do
    case $key in
    "ip6_proto@$sect") proto=$value ;;
    "ip6_addr@$sect") wan_address=$value ;;
    "ip6_prefix@$sect") wan_prefix=$value ;;
    "ip6_pfxlen@$sect") wan_length=$value ;;
    "ip6_dns_primary@$sect") dns1=$value ;;
    "ip6_dns_secondary@$sect") dns2=$value ;;
    "ip6_domain@$sect") domain=$value ;;
    "ip6_lease@$sect") lease=$value ;;
    "ip6_life@$sect") life=$value ;;
    "mtu@$sect") mtu=$value ;;
    ip6_dhcp6c_prefix_addr@system) delegated=$value ;;
    ip6_dhcp6c_prefix_length@system) delegated_length=$value ;;
    ip6_dns1@system) system_dns1=$value ;;
    ip6_dns2@system) system_dns2=$value ;;
    ip6_addr@lan0) lan_ip6_addr=$value ;;
    ip6_pfxlen@lan0) lan_ip6_pfxlen=$value ;;
    ip6_gua_sid@lan0) lan_sid=$value ;;
    ip6_gua_hostid@lan0) lan_host=$value ;;
    ip6_gua_manual_hostid@lan0) lan_manual_host=$value ;;
    ip6_ula_eb@lan0) lan_ula_enabled=$value ;;
    ip6_ula_gid@lan0) lan_gid=$value ;;
    ip6_ula_sid@lan0) lan_ula_sid=$value ;;
    ip6_ula_addr@lan0) lan_ula=$value ;;
    ip6_ula_addra@lan0) lan_ula_second=$value ;;
    ip6_ula_prefer@lan0) lan_ula_prefer=$value ;;
    ip6_ula_valid@lan0) lan_ula_valid=$value ;;
    ip6_addr@lan1) lan1_ip6_addr=$value ;;
    ip6_pfxlen@lan1) lan1_ip6_pfxlen=$value ;;
    ip6_gua_sid@lan1) lan1_sid=$value ;;
    ip6_gua_hostid@lan1) lan1_host=$value ;;
    ip6_gua_manual_hostid@lan1) lan1_manual_host=$value ;;
    ip6_ula_eb@lan1) lan1_ula_enabled=$value ;;
    ip6_ula_gid@lan1) lan1_gid=$value ;;
    ip6_ula_sid@lan1) lan1_ula_sid=$value ;;
    ip6_ula_addr@lan1) lan1_ula=$value ;;
    ip6_ula_addra@lan1) lan1_ula_second=$value ;;
    ip6_ula_prefer@lan1) lan1_ula_prefer=$value ;;
    ip6_ula_valid@lan1) lan1_ula_valid=$value ;;
    esac
done <<SETTINGS
$(ccfg_cli export)
SETTINGS
read -r lan_mac </sys/class/net/br-lan/address
read -r lan1_mac </sys/class/net/br-lan1/address
if [ "$lan_manual_host" -eq 0 ]; then
    host_id "$lan_mac"
    save lan_host ip6_gua_hostid@lan0 "$eui"
fi
if [ "$lan1_manual_host" -eq 0 ]; then
    host_id "$lan1_mac"
    save lan1_host ip6_gua_hostid@lan1 "$eui"
fi

# --- the bridges' global addresses

save ready ip6_wan_ready@system 1
lan_prefix='' lan1_prefix=''
if [ "$proto" = dhcp ] && [ -n "$delegated" ]; then
    [ -z "$lan_ip6_addr" ] || run /sbin/ifconfig br-lan del "$lan_ip6_addr/$lan_ip6_pfxlen"
    [ -z "$lan1_ip6_addr" ] || run /sbin/ifconfig br-lan1 del "$lan1_ip6_addr/$lan1_ip6_pfxlen"
    carve "$lan_sid" "$lan_host"
    save lan_prefix ip6_prefix@lan0 "$carved"
    save lan_ip6_addr ip6_addr@lan0 "$carved_address"
    save lan_ip6_pfxlen ip6_pfxlen@lan0 64
    run /usr/sbin/ip -6 addr add "$lan_ip6_addr/64" dev br-lan
    carve "$lan1_sid" "$lan1_host"
    save lan1_prefix ip6_prefix@lan1 "$carved"
    save lan1_ip6_addr ip6_addr@lan1 "$carved_address"
    save lan1_ip6_pfxlen ip6_pfxlen@lan1 64
    run /usr/sbin/ip -6 addr add "$lan1_ip6_addr/64" dev br-lan1
fi

# --- the daemons stop

run /usr/bin/killall radvd
echo 0 >/proc/sys/net/ipv6/conf/all/forwarding
$pause 0.8
run /usr/bin/killall dhcp6d
: >/tmp/dhcp6d.leases
run /usr/bin/killall -9 ecmh
run ip6tables -F
say "sys_ipv6_lan_done call zel_resolv_update."

# --- unique-local addresses

remove_ula() {
    [ -n "$2" ] || return 0
    run /usr/sbin/ip -6 addr del "$2/64" dev "$1"
    $pause 1
    [ -z "$3" ] || run /usr/sbin/ip -6 addr del "$3/64" dev "$1"
}

add_ula() {
    echo 0 >"/proc/sys/net/ipv6/conf/$1/disable_ipv6"
    echo 0 >"/proc/sys/net/ipv6/conf/$1/accept_ra"
    run /usr/sbin/ip -6 addr add "$2/64" dev "$1"
}

forget_ula() {
    ccfg_cli unset "ip6_ula_addr@$1"
    ccfg_cli unset "ip6_ula_addra@$1"
}

remove_ula br-lan "$lan_ula" "$lan_ula_second"
lan_ula=
if [ "$lan_ula_enabled" -eq 1 ]; then
    save lan_ula ip6_ula_addr@lan0 "FD$lan_gid:00$lan_ula_sid:$lan_host"
    add_ula br-lan "$lan_ula"
else
    forget_ula lan0
fi
echo 1 >/proc/sys/net/ipv6/conf/br-lan/forwarding
remove_ula br-lan1 "$lan1_ula" "$lan1_ula_second"
lan1_ula=
if [ "$lan1_ula_enabled" -eq 1 ]; then
    save lan1_ula ip6_ula_addr@lan1 "FD$lan1_gid:00$lan1_ula_sid:$lan1_host"
    add_ula br-lan1 "$lan1_ula"
else
    forget_ula lan1
fi
echo 1 >/proc/sys/net/ipv6/conf/br-lan1/forwarding

# --- radvd

# servers ULA ADDRESS SEPARATOR
servers() {
    if [ -n "$system_dns1" ]; then
        servers=$system_dns1${system_dns2:+$3$system_dns2}
    else
        servers=${1:-$2}
    fi
}

# advertise LINK GID ULA_SID ULA PREFER VALID PREFIX ADDRESS
advertise() {
    echo "interface $1 {
AdvSendAdvert on;
AdvLinkMTU $mtu;
AdvCurHopLimit 255;
MinRtrAdvInterval 20;
MaxRtrAdvInterval 60;
AdvDefaultPreference medium;
AdvHomeAgentFlag off;
AdvManagedFlag off;
AdvOtherConfigFlag on;"
    if [ -n "$4" ]; then
        [ "$5" -ne 0 ] && prefer=$5 || prefer=604800
        [ "$6" -ne 0 ] && valid=$6 || valid=1814400
        echo "prefix FD$2:00$3::/64 {
AdvOnLink on;
AdvAutonomous on;
AdvRouterAddr off;
AdvPreferredLifetime $prefer;
AdvValidLifetime $valid;
};"
    fi
    servers "$4" "$8" ' '
    echo "prefix $7/64 {
AdvOnLink on;
AdvAutonomous on;
AdvRouterAddr off;
AdvPreferredLifetime $lease;
AdvValidLifetime $life;
DeprecatePrefix on;
};
RDNSS $servers
{
AdvRDNSSLifetime 600;
};"
    [ -z "$domain" ] || echo "DNSSL $domain
{
AdvDNSSLLifetime 600;
};"
    echo "};"
}

{
    advertise br-lan "$lan_gid" "$lan_ula_sid" "$lan_ula" "$lan_ula_prefer" "$lan_ula_valid" "$lan_prefix" \
        "$lan_ip6_addr"
    advertise br-lan1 "$lan1_gid" "$lan1_ula_sid" "$lan1_ula" "$lan1_ula_prefer" "$lan1_ula_valid" "$lan1_prefix" \
        "$lan1_ip6_addr"
} >/tmp/radvd.conf
run vorn_syslog_cli addEventCode -1 ME104 "$lan_prefix/64"
run vorn_syslog_cli addEventCode -1 ME104 "$lan1_prefix/64"
run_behind radvd -C /tmp/radvd.conf

# --- DHCPv6 server

# serve PREFIX ULA ADDRESS
serve() {
    servers "$2" "$3" ,
    echo "subnet6 $1/64 {
option dhcp6.name-servers $servers;
}
"
}

run cp -rf /usr/sbin/dhcpd /tmp/dhcp6d
{
    echo "dhcpv6-lease-file-name \"/tmp/dhcp6d.leases\";
dhcpv6-pid-file-name \"/var/run/dhcp6d.pid\";
server-duid LLT ethernet 378691200 $lan_mac;
authoritative;"
    [ -z "$domain" ] || echo "option dhcp6.domain-search \"$domain\";"
    echo "option dhcp6.rapid-commit;"
    serve "$lan_prefix" "$lan_ula" "$lan_ip6_addr"
    serve "$lan1_prefix" "$lan1_ula" "$lan1_ip6_addr"
} >/tmp/dhcp6d.conf
: >>/var/run/dhcp6d.pid
run_behind /tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf
run ecmh -i "$wan" -d br-lan

# --- packet filter

icmp='-p ipv6-icmp --icmpv6-type'
few='--match limit --limit 10/sec -j ACCEPT'
some='--match limit --limit 100/sec -j ACCEPT'
echo "*filter
:INPUT ACCEPT [0:0]
:FORWARD ACCEPT [0:0]
:OUTPUT ACCEPT [0:0]
-A INPUT -i lo -j ACCEPT
-A INPUT $icmp echo-request -d $wan_prefix/$wan_length -j REJECT
-A INPUT -m state --state NEW -i br+ -j ACCEPT
-A INPUT -m state --state RELATED,ESTABLISHED -j ACCEPT
-A INPUT $icmp no-route $some
-A INPUT $icmp packet-too-big $some
-A INPUT $icmp time-exceeded $some
-A INPUT $icmp echo-request -i br-lan $some
-A INPUT $icmp echo-reply $some
-A INPUT $icmp neighbour-solicitation $some
-A INPUT $icmp neighbour-advertisement $some
-A INPUT $icmp router-advertisement -s fe80::0/64 --dst ff02::1/128 $few
-A INPUT $icmp router-solicitation $some
-A INPUT -i $wan $icmp 130 -j ACCEPT
-A INPUT -i br-lan $icmp 130 -j ACCEPT
-A INPUT -i br-lan $icmp 143 -j ACCEPT
-A INPUT $icmp 131 -s fe80::0/64 $few
-A INPUT $icmp 132 -s fe80::0/64 $few
-A INPUT $icmp 151 -s fe80::0/64 $some
-A INPUT $icmp 152 -s fe80::0/64 $some
-A INPUT $icmp 153 -s fe80::0/64 $some
-A INPUT -p udp --dport 53 -i br-lan $some
-A INPUT -p udp --sport 53 -i $wan $some
-A INPUT -p udp --dport 123 -i br-lan $few
-A INPUT -p udp --sport 123 -i $wan $few
-A INPUT -p udp --dport 546:547 -i br-lan -j ACCEPT
-A INPUT -p udp --dport 546:547 -i $wan -j ACCEPT
-A INPUT -j DROP
-A OUTPUT -o lo -j ACCEPT
-A OUTPUT -j ACCEPT
-A FORWARD -m rt --rt-type 0 -j DROP
-A FORWARD -s fe80::0/64 -j DROP
-A FORWARD -d fe80::0/64 -j DROP
-A FORWARD -s fd00::0/8 -j DROP
-A FORWARD -d fd00::0/8 -j DROP
-A FORWARD -i br-lan ! -s $lan_prefix/64 -j DROP
-A FORWARD -s fec0::/10 -j DROP
-A FORWARD -s ::/64 -j DROP
-A FORWARD -s 2001:db8::/32 -j DROP
-A FORWARD -s 2001:10::/28 -j DROP
-A FORWARD -m state --state RELATED,ESTABLISHED -j ACCEPT
-A FORWARD -m state --state NEW -i br-lan -o $wan -j ACCEPT
-A FORWARD -m state --state NEW -i br-lan1 -o $wan -j ACCEPT
-A FORWARD -i $wan -o br-lan -d ff00::/8 -j ACCEPT
-A FORWARD -d $delegated/$delegated_length $icmp echo-request -j REJECT --reject-with icmp6-port-unreachable
-A FORWARD $icmp no-route $some
-A FORWARD $icmp packet-too-big $some
-A FORWARD $icmp time-exceeded $some
-A FORWARD $icmp parameter-problem $some
-A FORWARD $icmp echo-request -d ::1/128 -j DROP
-A FORWARD -p icmpv6 --icmpv6-type echo-reply $some
-A FORWARD -s $delegated/$delegated_length -d $delegated/$delegated_length -j ACCEPT
-A FORWARD -j DROP
COMMIT" >/tmp/.ip6t
run ip6tables-restore /tmp/.ip6t
run . /lib/firewall/firewallv6.user
echo 1 >/proc/sys/net/ipv6/conf/all/forwarding

# --- name servers of the forwarder

# harvest: the IPv4 servers into the store; fails while there is none
harvest() {
    found=
    while read -r word address; do
        [ "$word" = nameserver ] || continue
        case $address in
        127.0.0.1 | *:*) continue ;;
        esac
        if [ -z "$found" ]; then
            save found "dns@$sect" "$address"
        else
            save second "sdns@$sect" "$address"
        fi
    done </tmp/resolv.conf.auto
    [ -n "$found" ]
}

for _ in 1 2 3 4 5; do
    ! harvest || break
    $pause 1
done
run /usr/sbin/resolv_update.sh SYSTEM
known=
while read -r word address; do
    known="$known $address "
done </tmp/resolv.conf.auto
if [ -n "$system_dns1" ]; then
    set -- "$system_dns1" "$system_dns2"
else
    set -- "$dns1" "$dns2"
fi
for address; do
    [ -n "$address" ] || continue
    case $known in
    *" $address "*) ;;
    *) echo "nameserver $address" ;;
    esac
done >>/tmp/resolv.conf.auto
run dnsmasq_update.sh
say "zel_resolv_update restart dnsmasq."
run /etc/init.d/dnsmasq2 restart
run /usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 "$wan_address" "$dns1"
ccfg_cli import <<CHANGES
$changes
CHANGES
