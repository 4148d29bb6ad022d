// The 6rd settings, by hand and from DHCPv4, and prefixes as text.
#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>

#include "addr/ip6_prefix.h"
#include "params/prepare_parm.h"
#include "platform/config_store.h"
#include "support/device.h"
#include "wan/sixrd.h"

namespace {

// Against the C library: an address without a dotted quad and a length that it has must come out as it says.
void check_prefix(const std::string& text)
{
    Ip6Octets octets = {};
    int length = 0;
    const int result = parse_ip6_prefix(text.c_str(), &octets, &length);
    const std::size_t slash = text.find('/');
    const bool has_length = slash != std::string::npos && text.size() > slash + 1;
    if (result != (text.size() >= 4 && text.size() <= 42 && has_length ? 1 : -1))
        finding("accepted wrongly or refused wrongly: " + text);
    in6_addr address;
    const bool is_address = result == 1 && text.find('.') == std::string::npos
                            && inet_pton(AF_INET6, text.substr(0, slash).c_str(), &address) == 1;
    if (!is_address || length < 0 || length > 128)
        return;
    for (int bit = 0; bit < 128; ++bit) {
        const unsigned byte = static_cast<unsigned>(bit) / 8;
        const unsigned mask = 0x80U >> (bit & 7);
        const bool wanted = bit < length && (address.s6_addr[byte] & mask) != 0;
        if (((octets[byte] & mask) != 0) != wanted)
            finding("a wrong bit in " + text);
    }
}

void run(const Fields& fields)
{
    check_prefix(as_text(fields[7]));
    start_device();
    set_setting("ip6_proto@wan100", "tunnel");
    const char* const keys[] = {"ip6_tunnel_type", "ip6_6rd_info",   "ip6_6rd_v4mask",      "ip6_6rd_pfxlen",
                                "ip6_6rd_prefix",  "ip6_6rd_ifname", "ip6_6rd_border_relay"};
    for (std::size_t i = 0; i < 7; ++i)
        set_setting(std::string(keys[i]) + "@wan100", fields[i]);
    run_program([] {
        prepare_parm(test_tid);
        del_6rd_tunnel(test_tid);
        start_6rd(test_tid);
    });
}

} // namespace

const Target target = {
    '\0', {"1", "0 32 3fff:: 198.51.100.1", "0", "32", "3fff::", "6rd", "198.51.100.1", "3fff:0:100::/56"}, run};
