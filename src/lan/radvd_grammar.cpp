#include "radvd_grammar.h"

#include "frame/address_text.h"
#include "value_list.h"

namespace {

constexpr char digits[] = "0123456789";
constexpr char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// The words of the grammar that could also be a domain's only label, each with a blank before and after it: one text
// needs no address of each word, which the loader would have to fill in at every start.
constexpr char keywords[] =
    " Adv6LBRaddress AdvAutonomous AdvContextCompressionFlag AdvContextID AdvContextPrefix AdvCurHopLimit "
    "AdvDNSSLLifetime AdvDefaultLifetime AdvDefaultPreference AdvHomeAgentFlag AdvHomeAgentInfo "
    "AdvIntervalOpt AdvLifeTime AdvLinkMTU AdvManagedFlag AdvMobRtrSupportFlag AdvOnLink "
    "AdvOtherConfigFlag AdvPreferredLifetime AdvRAMTU AdvRASolicitedUnicast AdvRASrcAddress "
    "AdvRDNSSLifetime AdvRDNSSOpen AdvRDNSSPreference AdvReachableTime AdvRetransTimer AdvRouteLifetime "
    "AdvRoutePreference AdvRouterAddr AdvSendAdvert AdvSourceLLAddress AdvValidLifeTime AdvValidLifetime "
    "AdvVersionHigh AdvVersionLow Base6Interface Base6to4Interface DNSSL DecrementLifetimes "
    "DeprecatePrefix FlushDNSSL FlushRDNSS HomeAgentLifetime HomeAgentPreference IgnoreIfMissing "
    "MaxRtrAdvInterval MinDelayBetweenRAs MinRtrAdvInterval RDNSS RemoveRoute UnicastOnly abro clients "
    "high infinity interface low lowpanco medium off on prefix route ";

bool is_made_of(const char* text, const char* characters)
{
    return text[0] != '\0' && text[std::strspn(text, characters)] == '\0';
}

// The grammar has neither the dotted form of the last four octets nor an address that only begins with "::".
bool is_address(const char* text)
{
    const bool starts_with_gap = std::strncmp(text, "::", 2) == 0 && text[2] != '\0';
    return is_ip6_address(text) && std::strchr(text, '.') == nullptr && !starts_with_gap;
}

bool is_keyword(const char* text)
{
    Text<130> word;
    word.print(" %s ", text);
    return std::strstr(keywords, word) != nullptr;
}

// Texts of digits, dots and signs may read as a number, so that a letter has to be among them.
bool is_domain(const char* text)
{
    Text<sizeof letters + sizeof digits + 2> taken;
    taken.print("%s%s.-", letters, digits);
    return is_made_of(text, taken) && std::strpbrk(text, letters) != nullptr && !is_keyword(text);
}

} // namespace

bool is_radvd_prefix(const char* address, int length)
{
    return is_address(address) && length >= 0 && length <= 128;
}

bool is_radvd_seconds(const char* text)
{
    const auto fits = [](const char* word) { return is_made_of(word, digits) || std::strcmp(word, "infinity") == 0; };
    int words = 0;
    return every_value(text, ' ', [&](const char* word) { return ++words == 1 && fits(word); });
}

bool is_radvd_server_list(const char* list)
{
    int servers = 0;
    return every_value(list, ' ', [&](const char* word) { return ++servers <= 3 && is_address(word); });
}

bool is_radvd_domain_list(const char* list)
{
    return every_value(list, ' ', is_domain);
}
