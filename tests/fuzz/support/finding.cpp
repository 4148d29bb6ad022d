#include "support/finding.h"

#include <cstdio>
#include <cstdlib>

namespace {

std::string tried;

}

void note_input(const std::string& input)
{
    tried = input;
}

std::string shown(const std::string& bytes)
{
    std::string text;
    for (const char c : bytes) {
        char escaped[8];
        if (c >= 0x20 && c < 0x7f)
            std::snprintf(escaped, sizeof escaped, "%c", c);
        else
            std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        text += escaped;
    }
    return text;
}

void finding(const std::string& what)
{
    std::fprintf(stderr, "FINDING: %s\n", shown(what).c_str());
    if (!tried.empty())
        std::fprintf(stderr, "The input: %s\n", shown(tried).c_str());
    std::abort();
}
