#include "address_text.h"

#include <arpa/inet.h>
#include <climits>
#include <cstdlib>
#include <cstring>

char* get_nslookup_addr(char* output)
{
    constexpr char label[] = "Address 1: ";
    constexpr int scan_limit = 16;

    char* const name = std::strstr(output, "Name:");
    if (name == nullptr)
        return nullptr;
    char* const found = std::strstr(name, label);
    if (found == nullptr)
        return nullptr;
    char* const address = found + sizeof label - 1;
    for (int i = 0; i < scan_limit; ++i) {
        if (address[i] == ' ') {
            address[i] = '\0';
            return address;
        }
        if (address[i] != '.' && (address[i] < '0' || address[i] > '9'))
            return nullptr;
    }
    return nullptr;
}

char* compress_ip6_addr(char* text)
{
    in6_addr address = {};
    if (inet_pton(AF_INET6, text, &address) == 1) {
        // The room leaves the terminator out, so that only a strictly shorter form replaces the text.
        char canonical[INET6_ADDRSTRLEN];
        if (inet_ntop(AF_INET6, &address, canonical, sizeof canonical) != nullptr
            && std::strlen(canonical) < std::strlen(text))
            std::memcpy(text, canonical, std::strlen(canonical) + 1);
    }
    return text;
}

bool is_ip6_address(const char* text)
{
    in6_addr address = {};
    return inet_pton(AF_INET6, text, &address) == 1;
}

int to_int(const char* text)
{
    return to_int(std::strtol(text, nullptr, 10));
}

int to_int(long number)
{
    if (number > INT_MAX)
        return INT_MAX;
    if (number < INT_MIN)
        return INT_MIN;
    return static_cast<int>(number);
}
