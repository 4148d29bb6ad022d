// The prefixes in radvd's configuration, as the program writes it.
#pragma once

#include <netinet/in.h>
#include <stddef.h>

struct AdvertisedPrefix {
    unsigned length = 0;
    in6_addr prefix = {};
    bool is_deprecated = false; // its preferred lifetime is 0: hosts open no connections from it
};

struct AdvertisedPrefixes {
    bool is_configured = false; // there is a block for the interface
    size_t count = 0;
    AdvertisedPrefix list[8];
};

// The prefixes that the configuration `text` has for an interface.
AdvertisedPrefixes advertised_prefixes(const char* text, const char* ifname);
