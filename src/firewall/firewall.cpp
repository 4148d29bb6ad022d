#include "firewall.h"

#include <unistd.h>

#include "base_ruleset.h"
#include "frame/file_lock.h"
#include "frame/files.h"
#include "frame/shell.h"
#include "ruleset_file.h"

void apply_ip6_firewall(int tid)
{
    const FileLock lock(ruleset_path);
    unlink(ruleset_path);
    write_base_ruleset(tid);
    run_shell("ip6tables-restore /tmp/.ip6t");
    run_shell(". /lib/firewall/firewallv6.user");
    write_ipv6_conf("1", "all", "forwarding");
}

void flush_ip6tables()
{
    run_shell("ip6tables -F");
}
