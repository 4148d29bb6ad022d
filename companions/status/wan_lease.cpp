#include "wan_lease.h"

#include <arpa/inet.h>
#include <time.h>

#include "lease_file.h"

namespace {

constexpr long long patience = 10; // seconds in which a provider answers

void report_asking(Report& report, const Look& look, const Process& client)
{
    auto row = report.add("lease", "none, asking for %s", duration(client.age).c_str());
    row.seconds(client.age);
    if (client.age >= patience)
        row.wrong("the provider does not answer the DHCPv6 client, or gives nothing").help(ask_anew(look));
}

} // namespace

Process starting_client(const Look& look)
{
    const Process client = is_dhcp(look) ? find_process("dhclient", "-6") : Process();
    if (!client.is_running() || client.age >= patience)
        return Process();
    const Lease lease = read_lease();
    const long long began = lease.prefix.is_there ? lease.prefix.starts : lease.address.starts;
    const bool is_kept = has_lease(lease) && began < time(nullptr) - client.age - 1;
    return is_kept ? Process() : client;
}

const char* ask_anew(const Look& look)
{
    return is_dhcp(look) && find_process("dhclient", "-6").age >= patience ? "dhcp6c_restart" : wan_start(look);
}

void report_life(Report& report, const Look& look, const char* name, long long left, bool is_for_ever)
{
    if (is_for_ever)
        report.add(name, "for ever");
    else if (left > 0)
        report.add(name, "%s left", duration(left).c_str()).seconds(left).good();
    else
        report.add(name, "over").seconds(0).wrong("it has run out").help(ask_anew(look));
}

void report_delegation(Report& report, const Look& look)
{
    const Text<46> stored = look.settings.text<46>("system", "ip6_dhcp6c_prefix_addr");
    const long length = look.settings.number("system", "ip6_dhcp6c_prefix_length", 56);
    const Lease lease = read_lease();
    const Process client = is_dhcp(look) ? find_process("dhclient", "-6") : Process();
    const bool is_asking = client.is_running() && !has_lease(lease);
    if (is_asking)
        report_asking(report, look, client);
    if (stored.empty()) {
        auto row = report.add("delegated_prefix", "none");
        if (look.ip6_ready)
            row.wrong("without one the LANs have no prefix and the ruleset is refused").help(ask_anew(look));
        return;
    }
    auto row = report.add("delegated_prefix", "%s/%ld", stored.c_str(), length);
    in6_addr prefix = {};
    if (inet_pton(AF_INET6, stored, &prefix) != 1 || length < 1 || length > 64)
        row.wrong("it is no prefix of 1 to 64 bits");
    else if (is_asking)
        return; // it is that of an earlier lease
    else if (client.is_running() && !lease.prefix.is_there)
        row.wrong("the client's lease has no prefix any more").help("wan6c_restart");
    else if (!lease.prefix.is_there)
        row.good();
    else if (!is_same(prefix, lease.prefix.address) || static_cast<unsigned>(length) != lease.prefix.length)
        row.wrong("the client's lease has another one").help(ask_anew(look));
    else {
        row.good();
        const long long age = time(nullptr) - lease.prefix.starts;
        constexpr long long for_ever = 0xFFFFFFFF; // RFC 8415, section 7.7
        report_life(report, look, "prefix_preferred", lease.prefix.preferred - age, lease.prefix.preferred == for_ever);
        report_life(report, look, "prefix_valid", lease.prefix.valid - age, lease.prefix.valid == for_ever);
    }
}
