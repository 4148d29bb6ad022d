#include "ra_record.h"

#include <arpa/inet.h>

bool read_ra_record(const Stream& file, RaRecord& r)
{
    constexpr int up_to_devname = 15;
    for (;;) {
        const int columns = std::fscanf(
            file.get(), "%4s%4s%4s%4s%4s%4s%4s%4s %02x %02x %02x %02x %02x %08x %20s %4s%4s%4s%4s%4s%4s%4s%4s\n",
            r.address[0], r.address[1], r.address[2], r.address[3], r.address[4], r.address[5], r.address[6],
            r.address[7], &r.index, &r.plen, &r.scope, &r.address_flags, &r.if_probes, &r.if_flags6, r.devname,
            r.router[0], r.router[1], r.router[2], r.router[3], r.router[4], r.router[5], r.router[6], r.router[7]);
        if (columns == EOF)
            return false;
        if (columns >= up_to_devname)
            return true;
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
