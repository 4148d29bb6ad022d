#include "lease_file.h"

#include <arpa/inet.h>
#include <stdlib.h>

#include "frame/text.h"
#include "small_file.h"

namespace {

class Tokens {
public:
    explicit Tokens(const char* text) : at_(text) {}

    bool next(Text<64>& token)
    {
        at_ += strspn(at_, separators);
        const size_t length = strcspn(at_, separators);
        token.assign(at_, length);
        at_ += length;
        return length != 0;
    }

    long long number()
    {
        Text<64> token;
        next(token);
        return strtoll(token, nullptr, 10);
    }

private:
    static constexpr char separators[] = " \t\r\n;";
    const char* at_;
};

// Reads what follows "iaprefix" or "iaaddr", up to its closing brace.
LeasedPart take_part(Tokens& tokens)
{
    LeasedPart part;
    part.length = 128;
    Text<64> token;
    tokens.next(token);
    if (char* const slash = strchr(token.data(), '/')) {
        *slash = '\0';
        const long length = strtol(slash + 1, nullptr, 10);
        part.length = length >= 0 && length <= 128 ? static_cast<unsigned>(length) : 128;
    }
    part.is_there = inet_pton(AF_INET6, token, &part.address) == 1;
    while (tokens.next(token) && !token.equals("}")) {
        if (token.equals("starts"))
            part.starts = tokens.number();
        else if (token.equals("preferred-life"))
            part.preferred = tokens.number();
        else if (token.equals("max-life"))
            part.valid = tokens.number();
    }
    return part;
}

} // namespace

Lease parse_lease(const char* text)
{
    Lease lease;
    Tokens tokens(text);
    for (Text<64> token; tokens.next(token);) {
        if (token.equals("lease6"))
            lease = Lease(); // each block tells all of a lease anew
        else if (token.equals("iaprefix"))
            lease.prefix = take_part(tokens);
        else if (token.equals("iaaddr"))
            lease.address = take_part(tokens);
    }
    return lease;
}

bool has_lease(const Lease& lease)
{
    return lease.prefix.is_there || lease.address.is_there;
}

Lease read_lease()
{
    static char text[65536];
    return read_small_file("/tmp/dhcp6c-wan.leases", text, sizeof text) > 0 ? parse_lease(text) : Lease();
}
