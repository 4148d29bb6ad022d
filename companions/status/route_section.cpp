#include <arpa/inet.h>

#include "frame/address_text.h"
#include "sections.h"

namespace {

constexpr int most_listed = 99;

bool is_installed(const Look& look, const in6_addr& target, unsigned length, const in6_addr& gateway)
{
    for (const KernelRoute& route : look.kernel.routes) {
        if (route.length == length && is_same_prefix(route.target, target, length) && route.has_gateway
            && is_same(route.gateway, gateway))
            return true;
    }
    return false;
}

void report_route(Report& report, const Look& look, long number, const char* routing_prefix, long length)
{
    Text<32> key;
    key.print("extra_sid_%ld", number);
    Text<46> id = look.settings.text<46>("system", key);
    key.print("extra_gateway_%ld", number);
    const Text<46> gateway_text = look.settings.text<46>("system", key);
    Text<16> item;
    item.print("%ld", number);
    if (id.empty() && gateway_text.empty()) {
        report.add("route", "none: it was faulty, and the program has taken it out of the store").item(item);
        return;
    }
    if (id.length() == 1) {
        const char digit = id[0];
        id.data()[0] = '0';
        id.data()[1] = digit;
        id.data()[2] = '\0';
    }
    Text<128> target_text;
    target_text.print("%s%s::", routing_prefix, id);
    auto row = report.add("route", "%s/%ld via %s", target_text.c_str(), length, gateway_text.c_str());
    row.item(item);
    in6_addr target = {};
    in6_addr gateway = {};
    if (inet_pton(AF_INET6, target_text, &target) != 1 || length < 0 || length > 128)
        row.wrong("there is no such prefix");
    else if (inet_pton(AF_INET6, gateway_text, &gateway) != 1)
        row.wrong("its gateway is no IPv6 address");
    else if (!look.kernel.routes.is_known)
        row.unknown("the kernel does not tell its routes");
    else if (!is_installed(look, target, static_cast<unsigned>(length), gateway))
        row.wrong("it is not installed").help("ipv6_lan_restart");
    else
        row.good();
}

} // namespace

void report_routes(Report& report, const Look& look)
{
    report.section("static_routes");
    if (look.store_fault != nullptr)
        return;
    if (look.settings.number("system", "add_static_route") == 0) {
        report.add("count", "0");
        return;
    }
    const Text<46> prefix = look.settings.text<46>("system", "ip6_pre_routing_prefix");
    const long length = look.settings.number("lan0", "ip6_pfxlen");
    const long count = look.settings.number("system", "num_extra_routes");
    report.add("count", "%ld", count < 0 ? 0 : count);
    for (long number = 1; number <= count && number <= most_listed; ++number)
        report_route(report, look, number, prefix, length);
    report.add_more("the routes", to_int(count) - most_listed);
}
