#include "dhcpd_grammar.h"

#include "frame/address_text.h"
#include "value_list.h"

namespace {

bool is_one_number(const char* text)
{
    const char* const first = text + (text[0] == '-' ? 1 : 0);
    const char* const digits = first[0] == '0' ? "01234567" : "0123456789";
    return first[0] != '\0' && first[std::strspn(first, digits)] == '\0';
}

// One word, blanks around it aside.
template <class Fits>
bool is_word(const char* text, Fits fits)
{
    int words = 0;
    return every_value(text, ' ', [&](const char* word) { return ++words == 1 && fits(word); });
}

} // namespace

bool is_dhcpd_number(const char* text)
{
    return is_word(text, is_one_number);
}

bool is_dhcpd_lease_time(const char* text)
{
    return is_word(text, [](const char* word) { return is_one_number(word) || std::strcmp(word, "infinite") == 0; });
}

bool is_dhcpd_octet(const char* text)
{
    return is_dhcpd_number(text) && to_int(text) >= 0 && to_int(text) <= 255;
}

bool is_dhcpd_subnet(const char* address, int length)
{
    return is_ip6_address(address) && length >= 0 && length <= 128;
}

bool is_dhcpd_server_list(const char* list)
{
    return every_value(list, ',', is_ip6_address);
}

bool is_dhcpd_domain(const char* text)
{
    for (const char* label = text;; ++label) {
        const std::size_t length = std::strcspn(label, ".");
        if (length == 0 || length > 63)
            return false;
        label += length;
        if (label[0] == '\0' || label[1] == '\0')
            return true;
    }
}
