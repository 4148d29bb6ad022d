#include "support/written_files.h"

#include <algorithm>
#include <arpa/inet.h>
#include <sstream>
#include <string>
#include <vector>

#include "platform/private_files.h"
#include "support/finding.h"
#include "support/statements.h"

namespace {

using Lines = std::vector<std::string>;

Lines lines_of(const std::string& text)
{
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

void take_prefix_options(Statements& conf)
{
    conf.expect("AdvOnLink on ;");
    conf.expect("AdvAutonomous on ;");
    conf.expect("AdvRouterAddr off ;");
}

void take_interface(Statements& conf, const char* bridge)
{
    conf.expect(std::string("interface ") + bridge + " {");
    conf.expect("AdvSendAdvert on ;");
    conf.take("AdvLinkMTU # ;");
    conf.expect("AdvCurHopLimit 255 ;");
    conf.expect("MinRtrAdvInterval 20 ;");
    conf.expect("MaxRtrAdvInterval 60 ;");
    conf.expect("AdvDefaultPreference medium ;");
    conf.expect("AdvHomeAgentFlag off ;");
    conf.expect("AdvManagedFlag off ;");
    conf.expect("AdvOtherConfigFlag on ;");
    for (int prefixes = 0; prefixes < 2 && conf.take("prefix */# {"); ++prefixes) {
        take_prefix_options(conf);
        conf.take("AdvPreferredLifetime * ;");
        conf.take("AdvValidLifetime * ;");
        conf.take("DeprecatePrefix on ;");
        conf.expect("}");
        conf.expect(";");
    }
    if (conf.take("RDNSS * {")) {
        conf.expect("AdvRDNSSLifetime 600 ;");
        conf.expect("}");
        conf.expect(";");
    }
    if (conf.take("DNSSL * {")) {
        conf.expect("AdvDNSSLLifetime 600 ;");
        conf.expect("}");
        conf.expect(";");
    }
    conf.expect("}");
    conf.expect(";");
}

void check_radvd(const std::string& text)
{
    Statements conf("radvd.conf", text);
    take_interface(conf, "br-lan");
    take_interface(conf, "br-lan1");
    conf.expect_end();
}

void check_dhcpd(const std::string& text)
{
    Statements conf("dhcp6d.conf", text);
    conf.expect("dhcpv6-lease-file-name \"/tmp/dhcp6d.leases\" ;");
    conf.expect("dhcpv6-pid-file-name \"/var/run/dhcp6d.pid\" ;");
    conf.expect("server-duid LLT ethernet 378691200 * ;");
    conf.expect("authoritative ;");
    conf.take("default-lease-time * ;");
    conf.take("preferred-lifetime * ;");
    conf.take("option dhcp-renewal-time * ;");
    conf.take("option dhcp-rebinding-time * ;");
    conf.take("option dhcp6.domain-search \"*\" ;");
    conf.take("option dhcp6.preference * ;");
    conf.expect("option dhcp6.rapid-commit ;");
    for (int subnets = 0; subnets < 2 && conf.take("subnet6 */# {"); ++subnets) {
        conf.take("option dhcp6.name-servers * ;");
        conf.expect("}");
    }
    conf.expect_end();
}

void check_dhclient(const std::string& text)
{
    Statements conf("dhcp6c-wan.conf", text);
    if (!conf.take("request dhcp6.name-servers, dhcp6.domain-search, dhcp6.rapid-commit, dhcp6.sntp-servers ;"))
        conf.expect("request dhcp6.domain-search, dhcp6.rapid-commit, dhcp6.sntp-servers ;");
    conf.take("send dhcp6.client-id * ;");
    conf.expect_end();
}

// One line of the ruleset. `*` of a pattern stands for characters without a blank.
struct Rule {
    std::string pattern;
    bool may_lack;   // one of its values may be unfit
    bool may_repeat; // a rule of the user's list
};

std::vector<Rule> ruleset_template()
{
    const std::string limit = " --match limit --limit 100/sec -j ACCEPT";
    const std::string few = " --match limit --limit 10/sec -j ACCEPT";
    std::vector<Rule> rules;
    const auto fixed = [&rules](const std::string& line) { rules.push_back({line, false, false}); };
    const auto valued = [&rules](const std::string& line) { rules.push_back({line, true, false}); };
    const auto icmp = [](const std::string& chain, const std::string& type) {
        return "-A " + chain + " -p ipv6-icmp --icmpv6-type " + type;
    };
    fixed("*filter");
    fixed(":INPUT ACCEPT [0:0]");
    fixed(":FORWARD ACCEPT [0:0]");
    fixed(":OUTPUT ACCEPT [0:0]");
    fixed("-A INPUT -i lo -j ACCEPT");
    valued("-A INPUT -i 6rd -p ipv6-icmp --icmpv6-type echo-request -j REJECT");
    valued(icmp("INPUT", "echo-request") + " -d %/# -j REJECT");
    fixed("-A INPUT -m state --state NEW -i br+ -j ACCEPT");
    fixed("-A INPUT -m state --state RELATED,ESTABLISHED -j ACCEPT");
    for (const char* type : {"no-route", "packet-too-big", "time-exceeded"})
        fixed(icmp("INPUT", type) + limit);
    fixed(icmp("INPUT", "echo-request") + " -i br-lan" + limit);
    for (const char* type : {"echo-reply", "neighbour-solicitation", "neighbour-advertisement"})
        fixed(icmp("INPUT", type) + limit);
    fixed(icmp("INPUT", "router-advertisement") + " -s fe80::0/64 --dst ff02::1/128" + few);
    fixed(icmp("INPUT", "router-solicitation") + limit);
    valued("-A INPUT -i % -p ipv6-icmp --icmpv6-type 130 -j ACCEPT");
    fixed("-A INPUT -i br-lan -p ipv6-icmp --icmpv6-type 130 -j ACCEPT");
    fixed("-A INPUT -i br-lan -p ipv6-icmp --icmpv6-type 143 -j ACCEPT");
    fixed(icmp("INPUT", "131") + " -s fe80::0/64" + few);
    fixed(icmp("INPUT", "132") + " -s fe80::0/64" + few);
    for (const char* type : {"151", "152", "153"})
        fixed(icmp("INPUT", type) + " -s fe80::0/64" + limit);
    fixed("-A INPUT -p udp --dport 53 -i br-lan" + limit);
    valued("-A INPUT -p udp --sport 53 -i %" + limit);
    fixed("-A INPUT -p udp --dport 123 -i br-lan" + few);
    valued("-A INPUT -p udp --sport 123 -i %" + few);
    fixed("-A INPUT -p udp --dport 546:547 -i br-lan -j ACCEPT");
    valued("-A INPUT -p udp --dport 546:547 -i % -j ACCEPT");
    fixed("-A INPUT -j DROP");
    fixed("-A OUTPUT -o lo -j ACCEPT");
    fixed("-A OUTPUT -j ACCEPT");
    fixed("-A FORWARD -m rt --rt-type 0 -j DROP");
    for (const char* range : {"fe80::0/64", "fd00::0/8"}) {
        fixed(std::string("-A FORWARD -s ") + range + " -j DROP");
        fixed(std::string("-A FORWARD -d ") + range + " -j DROP");
    }
    valued("-A FORWARD -i br-lan ! -s %/# -j DROP");
    for (const char* range : {"fec0::/10", "::/64", "2001:db8::/32", "2001:10::/28"})
        fixed(std::string("-A FORWARD -s ") + range + " -j DROP");
    fixed("-A FORWARD -m state --state RELATED,ESTABLISHED -j ACCEPT");
    valued("-A FORWARD -m state --state NEW -i br-lan -o % -j ACCEPT");
    valued("-A FORWARD -m state --state NEW -i br-lan1 -o % -j ACCEPT");
    rules.push_back({"", true, true});
    valued("-A FORWARD -i % -o br-lan -d ff00::/8 -j ACCEPT");
    valued("-A FORWARD -d %/# -p ipv6-icmp --icmpv6-type echo-request -j REJECT --reject-with icmp6-port-unreachable");
    valued("-A FORWARD -i br-lan -o 6rd -j ACCEPT");
    valued("-A FORWARD -i br-lan1 -o 6rd -j ACCEPT");
    for (const char* type : {"no-route", "packet-too-big", "time-exceeded", "parameter-problem"})
        fixed(icmp("FORWARD", type) + limit);
    fixed(icmp("FORWARD", "echo-request") + " -d ::1/128 -j DROP");
    fixed("-A FORWARD -p icmpv6 --icmpv6-type echo-reply" + limit);
    valued("-A FORWARD -s %/# -d %/# -j ACCEPT");
    fixed("-A FORWARD -j DROP");
    fixed("COMMIT");
    return rules;
}

Lines words_of(const std::string& line)
{
    Lines words;
    std::istringstream stream(line);
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

bool is_number_within(const std::string& text, int first, int last)
{
    const bool digits = !text.empty() && text.size() <= 5
                        && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    return digits && std::stoi(text) >= first && std::stoi(text) <= last;
}

bool is_host(const std::string& text, bool needs_length)
{
    const std::size_t slash = text.find('/');
    in6_addr octets;
    if (inet_pton(AF_INET6, text.substr(0, slash).c_str(), &octets) != 1)
        return false;
    return slash == std::string::npos ? !needs_length : is_number_within(text.substr(slash + 1), 0, 128);
}

// "-A FORWARD -p tcp|udp -s|-d HOST -m multiport --dports PORT[:PORT] -j ACCEPT", to the word
bool is_user_rule(const std::string& line)
{
    const Lines w = words_of(line);
    if (w.size() != 12 || w[0] != "-A" || w[1] != "FORWARD" || w[2] != "-p" || (w[3] != "tcp" && w[3] != "udp")
        || (w[4] != "-s" && w[4] != "-d") || w[6] != "-m" || w[7] != "multiport" || w[8] != "--dports" || w[10] != "-j"
        || w[11] != "ACCEPT" || !is_host(w[5], false))
        return false;
    const std::size_t colon = w[9].find(':');
    const std::string first = w[9].substr(0, colon);
    const std::string last = colon == std::string::npos ? first : w[9].substr(colon + 1);
    return is_number_within(first, 1, 65535) && is_number_within(last, 1, 65535) && std::stoi(first) <= std::stoi(last);
}

// `%` stands for the value of a setting: characters without a blank, none included; `#` for a number.
bool is_rule(const std::string& pattern, const std::string& line)
{
    const Lines wanted = words_of(pattern);
    std::size_t at = 0;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const std::size_t end = std::min(line.find(' ', at), line.size());
        std::string glob = wanted[i];
        if (const std::size_t slot = glob.find('%'); slot != std::string::npos)
            glob[slot] = '*';
        else if (glob.find('#') == std::string::npos && glob != line.substr(at, end - at))
            return false; // a word of the template may hold the signs of a pattern
        if (glob != wanted[i] && !matches(glob, line.substr(at, end - at)))
            return false;
        at = std::min(end + 1, line.size());
        if (i + 1 < wanted.size() && end == line.size())
            return false;
        if (i + 1 == wanted.size())
            return end == line.size();
    }
    return line.empty();
}

// The loader refuses the whole file for one wrong value, and the gateway stays without a filter.
void check_loadable(const std::string& line)
{
    const Lines w = words_of(line);
    for (std::size_t i = 0; i + 1 < w.size(); ++i) {
        const bool is_prefix = w[i] == "-s" || w[i] == "-d" || w[i] == "--dst";
        const bool is_interface = w[i] == "-i" || w[i] == "-o";
        if (!is_prefix && !is_interface)
            continue;
        const std::string& value = w[++i]; // whatever it looks like
        if (is_prefix && value[0] != '/' && !is_host(value, false))
            finding("ruleset: the loader refuses the address in: " + line);
        if (is_interface && value.size() > 15)
            finding("ruleset: the loader refuses the interface in: " + line);
    }
}

// A value may look like a bridge's name, and its rule like the next one: hence the second try.
struct RulesetMatch {
    const std::vector<Rule>& rules;
    const Lines& lines;
    std::size_t furthest = 0;

    bool from(std::size_t rule, std::size_t line)
    {
        furthest = std::max(furthest, line);
        if (rule == rules.size())
            return line == lines.size();
        const Rule& wanted = rules[rule];
        const bool fits = line < lines.size()
                          && (wanted.may_repeat ? is_user_rule(lines[line]) : is_rule(wanted.pattern, lines[line]));
        if (fits && from(wanted.may_repeat ? rule : rule + 1, line + 1))
            return true;
        return wanted.may_lack && from(rule + 1, line);
    }
};

void check_ruleset(const std::string& text)
{
    static const std::vector<Rule> rules = ruleset_template();
    const Lines lines = lines_of(text);
    RulesetMatch match{rules, lines};
    if (!match.from(0, 0))
        finding("ruleset: not the template's rule: "
                + (match.furthest < lines.size() ? lines[match.furthest] : "(the end)"));
    for (const std::string& line : lines) {
        if (line.find_first_of("\"'\\#\t\r") != std::string::npos)
            finding("ruleset: a quote, an escape or a comment: " + line);
        check_loadable(line);
    }
}

void check_neighbors(const std::string& text)
{
    for (const std::string& line : lines_of(text)) {
        if (!matches("* dev * lladdr *:*:*:*:*:* uptime #", line))
            finding("neighbors: a line of nobody: " + line);
    }
}

void check_digest_input(const std::string& text)
{
    if (text.size() != 32 || text.find_first_not_of("0123456789ABCDEF") != std::string::npos)
        finding("sha.txt: " + text);
}

void check(const char* path, void (*checker)(const std::string& text))
{
    if (file_exists(path))
        checker(read_file(path));
}

} // namespace

void check_written_files()
{
    check("/tmp/radvd.conf", check_radvd);
    check("/tmp/dhcp6d.conf", check_dhcpd);
    check("/tmp/dhcp6c-wan.conf", check_dhclient);
    check("/tmp/.ip6t", check_ruleset);
    check("/tmp/.ip6_neigh", check_neighbors);
    check("/tmp/sha.txt", check_digest_input);
}
