// What a look at the settings found, one line each on standard output.
#pragma once

#include <string_view>

class Findings {
public:
    // Says "KEY@SECTION: what"
    [[gnu::format(printf, 4, 5)]] void add(std::string_view key, std::string_view section, const char* what, ...);

    unsigned count() const { return count_; }

private:
    unsigned count_ = 0;
};
