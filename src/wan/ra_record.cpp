#include "ra_record.h"

#include <arpa/inet.h>

#include "frame/log.h"
#include "frame/outside_value.h"

namespace {

bool is_acceptable_record(const RaRecord& r)
{
    bool acceptable = !has_control_character(r.devname);
    for (const auto& group : r.address)
        acceptable = acceptable && !has_control_character(group);
    for (const auto& group : r.router)
        acceptable = acceptable && !has_control_character(group);
    if (!acceptable)
        log_line("waninfo_main", "a record of if_flags6 holds a control character and counts as absent.");
    return acceptable;
}

} // namespace

bool read_ra_record(const Stream& file, RaRecord& r)
{
    constexpr int up_to_devname = 15;
    for (;;) {
        RaRecord next = r;
        const int columns = std::fscanf(
            file.get(), "%4s%4s%4s%4s%4s%4s%4s%4s %02x %02x %02x %02x %02x %08x %20s %4s%4s%4s%4s%4s%4s%4s%4s\n",
            next.address[0], next.address[1], next.address[2], next.address[3], next.address[4], next.address[5],
            next.address[6], next.address[7], &next.index, &next.plen, &next.scope, &next.address_flags,
            &next.if_probes, &next.if_flags6, next.devname, next.router[0], next.router[1], next.router[2],
            next.router[3], next.router[4], next.router[5], next.router[6], next.router[7]);
        if (columns == EOF)
            return false;
        if (columns >= up_to_devname && is_acceptable_record(next)) {
            r = next;
            return true;
        }
    }
}

AddressText joined(const AddressGroups& g)
{
    AddressText text;
    text.print("%4s:%4s:%4s:%4s:%4s:%4s:%4s:%4s", g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7]);
    return text;
}

AddressText normalized(const AddressGroups& groups)
{
    AddressText text = joined(groups);
    in6_addr address = {};
    if (inet_pton(AF_INET6, text, &address) == 1)
        inet_ntop(AF_INET6, &address, text.data(), text.capacity);
    return text;
}
