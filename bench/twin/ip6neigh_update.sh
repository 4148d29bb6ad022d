#!/bin/sh
# zel_ip6neigh_update as a shell script, to have something to compare the program with. The two tables are joined by
# awk, as anybody would, and not by a loop of the shell. It leaves out the log, but for the line that is run.
# LOG: set, and the log is the program's, each line of it on its own, so that lines of others can come between.
set -u
stored=/tmp/.ip6_neigh
shown=/tmp/.ip6_neigh_show

read -r uptime _ </proc/uptime
[ -e $stored ] || : >$stored
/usr/sbin/ip -6 neigh show >$shown
status=$?
ran="[zel_system][${uptime%.*}] [$status]ip -6 neigh show > $shown"
if [ $status -ne 0 ]; then
    echo "$ran" >>/tmp/ipv6.log
    exit 1
fi

# A neighbor that is shown without a link-layer address has that of the line before.
table=$(awk -v now="${uptime%.*}" -v stored=$stored -v ran="$ran" -v log_all="${LOG:+1}" '
    function append(text) {
        print text >>"/tmp/ipv6.log"
        close("/tmp/ipv6.log")
    }
    function note(text) {
        if (log_all)
            append("[zel_ip6neigh_update][" now "] " text)
    }
    function compare(key, number) {
        for (number = 1; number <= count; number++) {
            note("2.1, " order[number] ".")
            if (order[number] == key)
                return
            note("2.2.")
        }
        note("2.3.")
    }
    FILENAME == stored {
        key = $1 " dev " $3 " lladdr " $5
        note("1, " key " uptime " $7 ".")
        order[++count] = key
        seen[key] = $7
        next
    }
    FNR == 1 { append(ran); ran = "" }
    {
        if ($4 == "lladdr")
            lladdr = $5
        key = $1 " dev " $3 " lladdr " (lladdr == "" ? "00:00:00:00:00:00" : lladdr)
        note("2, " key ".")
        if (log_all)
            compare(key)
        if (!(key in seen))
            order[++count] = key
        seen[key] = now
    }
    END {
        if (ran != "")
            append(ran)
        for (number = 1; number <= count; number++) {
            key = order[number]
            note("3, " key " uptime " seen[key] "[" now "].")
            if (now - seen[key] < 600) {
                kept++
                print key " uptime " seen[key]
            }
        }
        note("4, hs_count " kept + 0 ".")
    }' $stored $shown)
if [ -n "$table" ]; then
    echo "$table" >$stored
else
    : >$stored
fi
