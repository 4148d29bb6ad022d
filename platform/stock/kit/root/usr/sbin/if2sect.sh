#!/bin/sh
# if2sect.sh INTERFACE
#
# The real one prints the section of the configuration that describes an interface.
#
# This one reads a table in the configuration store: if2sect_INTERFACE@system holds the section. An interface that the
# table does not know, or no interface at all, is wan100.
set -u
PATH=${PATH:+$PATH:}/usr/sbin:/usr/bin:/sbin:/bin

section=
case ${1-} in
'' | *[!A-Za-z0-9_.-]*) ;;
*) section=$(ccfg_cli get "if2sect_$1@system" 2>/dev/null) ;;
esac
case $section in
'' | *[!A-Za-z0-9_.-]*) section=wan100 ;;
esac
echo "$section"
