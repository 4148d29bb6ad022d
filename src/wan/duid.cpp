#include "duid.h"

#include <ctime>

#include "frame/log.h"

namespace {

constexpr char name[] = "start_dhcp6c";
constexpr std::uint32_t enterprise_number = IPV6CTL_ENTERPRISE_NUMBER;

Text<12> octets_of(std::uint32_t number)
{
    Text<12> text;
    text.print("%02x:%02x:%02x:%02x", static_cast<unsigned>(number >> 24), static_cast<unsigned>(number >> 16 & 0xFFU),
               static_cast<unsigned>(number >> 8 & 0xFFU), static_cast<unsigned>(number & 0xFFU));
    return text;
}

// ":" and two hexadecimal digits for every character of the product class and the serial number
using Identifier = Text<(decltype(parm.product_class)::capacity + decltype(parm.serial_number)::capacity) * 3 + 1>;

void append_characters(Identifier& identifier, const char* text)
{
    for (; *text != '\0'; ++text) {
        Text<4> octet;
        octet.print(":%02x", static_cast<unsigned>(static_cast<unsigned char>(*text)));
        identifier.append(octet);
    }
    log_line(name, "identifier=%s", identifier);
}

void build_link_layer_time(DuidText& duid)
{
    const std::uint32_t now = duid_time(static_cast<std::uint32_t>(std::time(nullptr)));
    duid.print("00:01:00:01:%s:%s", octets_of(now), parm.lan_mac_addr);
    log_line(name, "time = [%08x], wan_ip6_duid=%s", now, duid);
}

void build_enterprise(DuidText& duid)
{
    const Text<12> number = octets_of(enterprise_number);
    log_line(name, "number=%s", number);
    Identifier identifier;
    append_characters(identifier, parm.product_class);
    append_characters(identifier, parm.serial_number);
    duid.print("00:02:%s%s", number, identifier);
}

} // namespace

std::uint32_t duid_time(std::uint32_t unix_time)
{
    constexpr std::uint32_t year_2000 = 946684800;
    return unix_time > year_2000 ? unix_time - year_2000 : unix_time;
}

bool build_duid(int type, DuidText& duid)
{
    switch (type) {
    case 1:
        build_link_layer_time(duid);
        return true;
    case 2:
        build_enterprise(duid);
        return true;
    case 3:
        duid.print("00:03:00:01:%s", parm.lan_mac_addr);
        return true;
    default:
        log_line(name, "The type of DHCP Unique Identifier (DUID) is incorrect.");
        return false;
    }
}
