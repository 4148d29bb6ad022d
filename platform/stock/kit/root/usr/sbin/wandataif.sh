#!/bin/sh
# wandataif.sh
#
# The real one prints the interface that carries the WAN's data, found from the state of the access line and the PPP
# sessions on it.
#
# This one prints wandataif@system of the configuration store, or eth0 when there is none. A name that cannot be an
# interface counts as none.
set -u
PATH=${PATH:+$PATH:}/usr/sbin:/usr/bin:/sbin:/bin

name=$(ccfg_cli get wandataif@system 2>/dev/null)
case $name in
'' | . | .. | *[!A-Za-z0-9_.:@-]* | ????????????????*) name=eth0 ;;
esac
echo "$name"
