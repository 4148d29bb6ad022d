#include "value_check.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>

#include "text_parts.h"

namespace {

char fault[160];

constexpr std::string_view digits = "0123456789";
constexpr std::string_view hex_digits = "0123456789ABCDEFabcdef";
constexpr std::string_view name_characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";

bool is_all(std::string_view text, std::string_view allowed)
{
    return !text.empty() && text.find_first_not_of(allowed) == text.npos;
}

bool is_name(std::string_view text, size_t limit)
{
    return is_all(text, name_characters) && text.size() <= limit && text.front() != '.' && text.front() != '-';
}

bool is_interface(std::string_view text)
{
    return !text.empty() && text.size() <= 15 && text.find_first_of("/: \t") == text.npos && text != "."
           && text != "..";
}

bool is_ip4(std::string_view text)
{
    char copy[INET_ADDRSTRLEN] = {};
    in_addr address;
    if (text.empty() || text.size() >= sizeof copy)
        return false;
    memcpy(copy, text.data(), text.size());
    return inet_pton(AF_INET, copy, &address) == 1;
}

bool is_ip6(std::string_view text)
{
    unsigned char octets[16];
    return parse_ip6(text, octets);
}

bool is_domain(std::string_view text)
{
    return is_name(text, 253);
}

bool is_sid(std::string_view text)
{
    return text.size() <= 2 && is_all(text, hex_digits);
}

// True when each part of `text` between separators passes.
bool is_list(std::string_view text, char separator, bool (*is_part)(std::string_view))
{
    for (;;) {
        const size_t end = text.find(separator);
        if (!is_part(first_part(text, end)))
            return false;
        if (end == text.npos)
            return true;
        text = rest_after(text, end + 1);
    }
}

// Groups of hexadecimal digits with colons between, each group as long as a run of the letter x in `form`.
bool has_form(std::string_view text, std::string_view form)
{
    if (text.size() != form.size())
        return false;
    for (size_t i = 0; i < form.size(); ++i) {
        const bool fits = form[i] == 'x' ? hex_digits.find(text[i]) != hex_digits.npos : text[i] == form[i];
        if (!fits)
            return false;
    }
    return true;
}

bool is_octet(std::string_view text)
{
    return has_form(text, "xx");
}

bool is_word_of(std::string_view words, std::string_view text)
{
    for (; !words.empty(); words = rest_after(words, first_part(words, words.find(' ')).size() + 1)) {
        if (first_part(words, words.find(' ')) == text)
            return true;
    }
    return false;
}

bool is_sixrd(std::string_view text)
{
    std::string_view word[4];
    for (std::string_view& part : word) {
        const size_t start = text.find_first_not_of(' ');
        text = start == text.npos ? std::string_view() : rest_after(text, start);
        part = first_part(text, text.find(' '));
        text = rest_after(text, part.size());
    }
    long long mask = 0;
    long long length = 0;
    return parse_number(word[0], mask) && mask <= 32 && parse_number(word[1], length) && length <= 128
           && is_ip6(word[2]) && (is_ip4(word[3]) || is_domain(word[3]));
}

const char* number_mismatch(const KnownSetting& setting, std::string_view value)
{
    long long number = 0;
    if (parse_number(value, number) && number >= setting.low && number <= setting.high)
        return nullptr;
    snprintf(fault, sizeof fault, "is no number from %lld to %lld", setting.low, setting.high);
    return fault;
}

const char* word_mismatch(const KnownSetting& setting, std::string_view value)
{
    if (is_word_of(setting.words, value))
        return nullptr;
    snprintf(fault, sizeof fault, "is none of: %s", setting.words);
    return fault;
}

const char* text_mismatch(const KnownSetting& setting, std::string_view value)
{
    if (value.size() <= static_cast<size_t>(setting.high))
        return nullptr;
    snprintf(fault, sizeof fault, "is cut after %lld characters", setting.high);
    return fault;
}

const char* unless(bool fits, const char* what)
{
    return fits ? nullptr : what;
}

} // namespace

bool parse_ip6(std::string_view text, unsigned char* octets)
{
    char copy[INET6_ADDRSTRLEN] = {};
    if (text.empty() || text.size() >= sizeof copy)
        return false;
    memcpy(copy, text.data(), text.size());
    return inet_pton(AF_INET6, copy, octets) == 1;
}

bool parse_number(std::string_view text, long long& number)
{
    number = 0;
    if (!is_all(text, digits) || text.size() > 15)
        return false;
    for (const char digit : text)
        number = 10 * number + (digit - '0');
    return true;
}

const char* value_mismatch(const KnownSetting& setting, std::string_view value)
{
    if (value.empty())
        return nullptr;
    switch (setting.type) {
    case SettingType::flag:
        return unless(value == "0" || value == "1", "is neither 0 nor 1");
    case SettingType::number:
    case SettingType::seconds:
        return number_mismatch(setting, value);
    case SettingType::ip6:
        return unless(is_ip6(value), "is no IPv6 address");
    case SettingType::ip4:
        return unless(is_ip4(value), "is no IPv4 address");
    case SettingType::host:
        return unless(is_ip4(value) || is_domain(value), "is neither an IPv4 address nor a host name");
    case SettingType::ip6_list:
        return unless(is_list(value, ' ', is_ip6), "is no list of IPv6 addresses with blanks between");
    case SettingType::name_list:
        return unless(is_list(value, ' ', is_domain), "is no list of domain names with blanks between");
    case SettingType::word:
        return word_mismatch(setting, value);
    case SettingType::hex2:
        return unless(is_sid(value), "is not one or two hexadecimal digits");
    case SettingType::gid:
        return unless(has_form(value, "xx:xxxx:xxxx"), "is no global id xx:xxxx:xxxx");
    case SettingType::hostid:
        return unless(has_form(value, "xxxx:xxxx:xxxx:xxxx"), "is no interface identifier xxxx:xxxx:xxxx:xxxx");
    case SettingType::duid:
        return unless(is_list(value, ':', is_octet), "is no list of octets with colons between");
    case SettingType::interface:
        return unless(is_interface(value), "is no name of an interface");
    case SettingType::section:
        return unless(is_name(value, 31), "is no name of a section");
    case SettingType::filter:
        return nullptr; // record by record in the advice
    case SettingType::sixrd:
        return unless(is_sixrd(value), "is not: IPv4 mask length, prefix length, prefix, border relay");
    case SettingType::sid_list:
        return unless(is_list(value, ';', is_sid), "is no list of subnet ids with semicolons between");
    case SettingType::text:
        return text_mismatch(setting, value);
    }
    return nullptr;
}
