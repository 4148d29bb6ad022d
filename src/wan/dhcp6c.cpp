#include "dhcp6c.h"

#include <unistd.h>

#include "advertised_servers.h"
#include "client_process.h"
#include "duid.h"
#include "frame/address_text.h"
#include "frame/files.h"
#include "frame/log.h"
#include "frame/outside_value.h"
#include "frame/pause.h"
#include "frame/shell.h"
#include "params/param_record.h"
#include "platform/config_store.h"

namespace {

constexpr char start_list[] = "/tmp/ps_dhcp6c_s.txt";
constexpr char stop_list[] = "/tmp/ps_dhcp6c.txt";
constexpr char rebind_key[] = "ip6_dhcp6c_rebind_instead_of_solicit";

constexpr int line_six_arguments = 201;
constexpr int line_five_arguments = 202;

// Every IPv6 client goes, whatever its interface: a lease has one owner.
bool kill_running_clients()
{
    remove_link(start_list);
    run_shell("ps | grep dhclient > /tmp/ps_dhcp6c_s.txt");
    {
        Stream list(start_list);
        if (!list.is_open())
            return false;
        for (char line[256]; list.read_line(line);) {
            const ClientProcess process = parse_client_process(line);
            if (process.is_ipv6())
                run_shell("kill %u", process.pid);
        }
    }
    unlink(start_list);
    return true;
}

// An identifier may also be a quoted string, as the client's own grammar has it.
bool fits_client_conf(const char* duid)
{
    DuidText inside;
    const std::size_t length = std::strlen(duid);
    if (length >= 2 && duid[0] == '"' && duid[length - 1] == '"')
        inside.assign(duid + 1, length - 2);
    else
        inside = duid;
    return fits_statement("start_dhcp6c", dhcp6c_conf_file, "the client identifier", inside);
}

bool ensure_client_identifier(int tid)
{
    const bool usable_as_stored = !parm.wan_ip6_duid.empty() && parm.wan_ip6_duid_type != 1;
    if (usable_as_stored)
        return true;
    if (!build_duid(parm.wan_ip6_duid_type, parm.wan_ip6_duid))
        return false;
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_duid", parm.wan_ip6_duid);
    return true;
}

bool write_client_conf(int tid)
{
    FileWriter conf(dhcp6c_conf_file, FileWriter::Mode::replace);
    if (!conf.is_open())
        return false;
    // Servers known from advertisements are not asked for.
    if (get_rdnssd_dns(tid) != 1)
        conf.put_line("request dhcp6.name-servers, dhcp6.domain-search, dhcp6.rapid-commit, dhcp6.sntp-servers;");
    else
        conf.put_line("request dhcp6.domain-search, dhcp6.rapid-commit, dhcp6.sntp-servers;");
    if (!ensure_client_identifier(tid))
        return false;
    if (fits_client_conf(parm.wan_ip6_duid))
        conf.print("send dhcp6.client-id %s;", parm.wan_ip6_duid);
    return true;
}

void launch(Dhcp6cMode mode)
{
    if (mode == SEND_DECLINE)
        run_shell("/usr/sbin/dhclient -6 -dec %s -sf %s -lf %s -pf %s %s &", "-P", dhcp6c_script, dhcp6c_lease_file,
                  dhcp6c_pid_file, parm.wan_ifname);
    else
        run_shell("/usr/sbin/dhclient -6 %s %s -d -q -nw -cf %s -sf %s -lf %s -pf %s -e stateless=%d %s &", "", "-P",
                  dhcp6c_conf_file, dhcp6c_script, dhcp6c_lease_file, dhcp6c_pid_file, static_cast<int>(mode),
                  parm.wan_ifname);
}

// Finds the process of `pid` in a fresh process list, which is left for the caller to remove. `process` ends as the
// last line read.
bool find_client(unsigned pid, ClientProcess& process)
{
    remove_link(stop_list);
    run_shell("ps | grep dhclient > /tmp/ps_dhcp6c.txt");
    Stream list(stop_list);
    if (!list.is_open())
        return false;
    for (char line[200]; list.read_line(line);) {
        process = parse_client_process(line);
        if (process.pid == pid)
            return true;
    }
    return false;
}

// The release repeats the arguments of the running client up to its "-cf".
void stop_with_arguments(const char* how, const ClientProcess& client)
{
    const auto& a = client.arguments;
    if (std::strncmp(a[5], "-cf", 3) != 0)
        run_shell("/usr/sbin/dhclient %s %s %s %s %s %s %s -cf %s -sf %s -lf %s -pf %s %s &", how, a[0], a[1], a[2],
                  a[3], a[4], a[5], dhcp6c_conf_file, dhcp6c_script, dhcp6c_lease_file, dhcp6c_pid_file,
                  parm.wan_ifname);
    else
        run_shell("/usr/sbin/dhclient %s %s %s %s %s %s -cf %s -sf %s -lf %s -pf %s %s &", how, a[0], a[1], a[2], a[3],
                  a[4], dhcp6c_conf_file, dhcp6c_script, dhcp6c_lease_file, dhcp6c_pid_file, parm.wan_ifname);
}

void report_arguments(const ClientProcess& client)
{
    const auto& a = client.arguments;
    if (std::strncmp(a[5], "-cf", 3) != 0)
        my_printf("[stop_dhcp6c] tailstr=\"%s %s %s %s %s %s\", line %d \n", a[0], a[1], a[2], a[3], a[4], a[5],
                  line_six_arguments);
    else
        my_printf("[stop_dhcp6c] tailstr=\"%s %s %s %s %s\", line %d \n", a[0], a[1], a[2], a[3], a[4],
                  line_five_arguments);
}

bool read_client_pid(unsigned& pid)
{
    const Stream file(dhcp6c_pid_file);
    if (!file.is_open())
        return false;
    pid = 0;
    static_cast<void>(std::fscanf(file.get(), "%u", &pid) == 1);
    return true;
}

bool rebinds(int tid)
{
    return tesa_ccfg_cmp_str(tid, parm.wan_sect, rebind_key, "1") == 0;
}

} // namespace

int start_dhcp6c(int tid, Dhcp6cMode mode)
{
    if (!kill_running_clients() || !write_client_conf(tid))
        return -1;
    my_printf("[zel-ipv6 start_dhcp6c] ask_info_only = %d\n", static_cast<int>(mode));
    launch(mode);
    return 1;
}

int stop_dhcp6c(int tid)
{
    my_printf("[zel-ipv6 stop_dhcp6c] enter\n");
    unsigned pid = 0;
    if (!read_client_pid(pid))
        return -1;
    ClientProcess client;
    if (!find_client(pid, client)) {
        my_printf("[stop_dhcp6c] pid=%d, ps_pid=%d, ready to remove /tmp/ps_dhcp6c.txt\n", static_cast<int>(pid),
                  static_cast<int>(client.pid));
        unlink(stop_list);
        return -1;
    }
    report_arguments(client);
    my_printf("[stop_dhcp6c] ready to remove /tmp/ps_dhcp6c.txt\n");
    unlink(stop_list);

    stop_with_arguments(rebinds(tid) ? "-x" : "-r", client);
    pause_ms(1000);

    my_printf("[stop_dhcp6c] ip6_dhcp6c_rebind_instead_of_solicit=%d\n",
              to_int(tesa_ccfg_get_long(tid, parm.wan_sect, rebind_key, 0)));
    if (!rebinds(tid)) {
        my_printf("[stop_dhcp6c] remove DHCP6C_LEASE_FILE\n");
        log_line("stop_dhcp6c", "remove DHCP6C_LEASE_FILE");
        unlink(dhcp6c_lease_file);
    }
    my_printf("[stop_dhcp6c] remove DHCP6C_PID_FILE\n");
    unlink(dhcp6c_pid_file);
    return 1;
}

int restart_dhcp6c(int tid, Dhcp6cMode mode)
{
    if (Stream(dhcp6c_pid_file).is_open())
        stop_dhcp6c(tid);
    return start_dhcp6c(tid, mode);
}
