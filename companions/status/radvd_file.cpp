#include "radvd_file.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

bool parse(const char* text, AdvertisedPrefix& to)
{
    char address[64];
    unsigned length = 0;
    if (sscanf(text, "%63[^/ ]/%3u", address, &length) != 2 || length > 128)
        return false;
    to.length = length;
    return inet_pton(AF_INET6, address, &to.prefix) == 1;
}

} // namespace

AdvertisedPrefixes advertised_prefixes(const char* text, const char* ifname)
{
    AdvertisedPrefixes found;
    bool inside = false;
    bool is_prefix = false; // in the block of the prefix that was found last
    long lifetime = 0;
    for (const char* line = text; line != nullptr && *line != '\0'; line = strchr(line, '\n')) {
        line += strspn(line, " \t\r\n");
        char name[32];
        if (sscanf(line, "interface %31s", name) == 1) {
            inside = strcmp(name, ifname) == 0;
            found.is_configured = found.is_configured || inside;
        } else if (inside && strncmp(line, "prefix ", 7) == 0 && found.count < 8
                   && parse(line + 7, found.list[found.count])) {
            ++found.count;
            is_prefix = true;
        } else if (is_prefix && *line == '}') {
            is_prefix = false;
        } else if (is_prefix && sscanf(line, "AdvPreferredLifetime %ld", &lifetime) == 1) {
            found.list[found.count - 1].is_deprecated = lifetime == 0;
        }
    }
    return found;
}
