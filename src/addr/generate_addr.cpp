#include "generate_addr.h"

#include <cstdint>
#include <cstdio>
#include <ctime>

#include "frame/address_text.h"
#include "frame/files.h"
#include "frame/log.h"
#include "frame/outside_value.h"
#include "frame/shell.h"
#include "params/lan_side.h"
#include "params/mac.h"
#include "platform/common_library.h"

namespace {

constexpr char name[] = "generate_addr";
constexpr char sha_input[] = "/tmp/sha.txt";
constexpr char sha_output[] = "/tmp/ula.txt";

AddressText result;
char command_output[1024];

bool mode_is(const char* mode, const char* word)
{
    return std::strncmp(mode, word, 3) == 0;
}

// The sixteen octets as text, `octet7` in place of the eighth; above 0xFF it takes as many digits as it needs.
void print_routing_prefix(const Ip6Octets& p, unsigned octet7)
{
    const auto octet = [&p](std::size_t i) { return static_cast<unsigned>(p[i]); };
    result.print("%02X%02X:%02X%02X:%02X%02X:%02X%02X:%02X%02X:%02X%02X:%02X%02X:%02X%02X", octet(0), octet(1),
                 octet(2), octet(3), octet(4), octet(5), octet(6), octet7, octet(8), octet(9), octet(10), octet(11),
                 octet(12), octet(13), octet(14), octet(15));
}

void generate_prefix(const Ip6Octets& prefix, int pfxlen, const LanSide& lan)
{
    if (pfxlen >= 65)
        return;
    if (shell_output(ShellLine("sum /etc/config/.glbcfg"), command_output, sizeof command_output) < 0) {
        log_line(name, "osSystem_GetOutput fail.");
        return;
    }
    utilStrTrimChar(command_output, " \t\r\n");

    if (lan.ip6_gua_sid.empty()) {
        const unsigned checksum = static_cast<unsigned>(to_int(command_output));
        print_routing_prefix(prefix, checksum % 256U);
        log_line(name, "ko2_addr: %s", result);
        return;
    }
    // The subnet id is written like two hexadecimal digits and read as a decimal number. One with a minus sign, which
    // no id has, gives its lowest eight bits.
    const int number = to_int(lan.ip6_gua_sid);
    unsigned sid = static_cast<unsigned>(number);
    if (number < 0)
        sid &= 0xFFU;
    if (pfxlen >= 57)
        sid &= (1U << (64 - pfxlen)) - 1U;
    print_routing_prefix(prefix, prefix[7] | sid);
    const auto octet = [&prefix](std::size_t i) { return static_cast<unsigned>(prefix[i]); };
    parm.routing_prefix.print("%02X%02X:%02X%02X:%02X%02X:%02X", octet(0), octet(1), octet(2), octet(3), octet(4),
                              octet(5), octet(6));
    log_line(name, "generate_addr: %s", result);
    log_line(name, "routing_prefix: %s/%d", parm.routing_prefix, pfxlen);
}

void generate_host_address(const Ip6Octets& prefix, int pfxlen, const LanSide& lan)
{
    AddressText text = long_form(prefix);
    if (pfxlen >= 65) {
        std::memcpy(text.data() + text.length() - 2, "01", 2);
        result = text;
        return;
    }
    constexpr std::size_t four_groups = 19;
    result.assign(text, four_groups);
    result.append(":");
    result.append(lan.ip6_gua_hostid);
}

void write_sha_input(std::uint32_t now, const MacOctets& mac)
{
    Text<64> text;
    text.print("%016X%02X%02X%02XFFFE%02X%02X%02X", now, mac[0] ^ 2U, mac[1], mac[2], mac[3], mac[4], mac[5]);
    remove_link(sha_input);
    FileWriter file(sha_input, FileWriter::Mode::replace);
    file.put(text);
}

void generate_global_id(const char* mac_text)
{
    const std::uint32_t now = static_cast<std::uint32_t>(std::time(nullptr));
    MacOctets mac = {};
    read_mac(mac_text, mac);
    log_line(name, "time = [%ul], [%016X%02X%02X%02XFFFE%02X%02X%02X]", now, now, mac[0] ^ 2U, mac[1], mac[2], mac[3],
             mac[4], mac[5]);
    write_sha_input(now, mac);
    remove_link(sha_output);
    if (run_shell("sha1sum /tmp/sha.txt > /tmp/ula.txt") != 0)
        log_line(name, "system command not executed properly!");

    constexpr std::size_t digest_length = 40;
    char digest[digest_length + 1] = {};
    const Stream file(sha_output);
    if (!file.is_open() || std::fread(digest, 1, sizeof digest, file.get()) < digest_length) {
        log_line(name, "%s holds no digest.", sha_output);
        return;
    }
    const char* const d = digest + 30; // the last ten digits, the least significant 40 bits
    const char id[] = {d[0], d[1], ':', d[2], d[3], d[4], d[5], ':', d[6], d[7], d[8], d[9], '\0'};
    if (is_acceptable(name, "the global id", id))
        result = id;
}

} // namespace

const char* generate_addr(const Ip6Octets* prefix, int pfxlen, const char* mode, const char* mac_text, int is_lan1)
{
    std::memset(result.data(), 0, result.capacity);
    const LanSide lan = lan_side(is_lan1);
    if (mode_is(mode, "prefix"))
        generate_prefix(*prefix, pfxlen, lan);
    else if (mode_is(mode, "addr"))
        generate_host_address(*prefix, pfxlen, lan);
    else if (mode_is(mode, "ula_gid"))
        generate_global_id(mac_text);
    return result;
}
