#include "small_daemons.h"

#include "frame/shell.h"
#include "params/param_record.h"

int start_ecmh(int)
{
    run_shell("ecmh -i %s -d %s", parm.wan_ifname, parm.lan_ifname);
    return 1;
}

int stop_ecmh()
{
    run_shell("killall -9 ecmh");
    return 1;
}

int start_rdnssd()
{
    run_shell("rdnssd -r /tmp/rdnssd");
    return 1;
}

int stop_rdnssd()
{
    run_shell("killall rdnssd");
    run_shell("rm /tmp/rdnssd");
    return 1;
}
