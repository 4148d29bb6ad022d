#include "nearness.h"

#include <algorithm>

namespace {

constexpr size_t longest_compared = 63;
constexpr size_t most_off = 3;

} // namespace

size_t letters_between(std::string_view one, std::string_view other)
{
    if (one.size() > longest_compared || other.size() > longest_compared)
        return longest_compared;
    size_t rows[3][longest_compared
                   + 1]; // for the letters of `one` up to this one, up to the one before, and up to the one before that
    for (size_t k = 0; k <= longest_compared; ++k)
        rows[0][k] = rows[1][k] = rows[2][k] = k;
    for (size_t i = 1; i <= one.size(); ++i) {
        size_t* const now = rows[i % 3];
        const size_t* const before = rows[(i + 2) % 3];
        const size_t* const earlier = rows[(i + 1) % 3];
        now[0] = i;
        for (size_t k = 1; k <= other.size(); ++k) {
            const size_t replaced = before[k - 1] + (one[i - 1] == other[k - 1] ? 0 : 1);
            now[k] = std::min({before[k] + 1, now[k - 1] + 1, replaced});
            if (i > 1 && k > 1 && one[i - 1] == other[k - 2] && one[i - 2] == other[k - 1])
                now[k] = std::min(now[k], earlier[k - 2] + 1);
        }
    }
    return rows[one.size() % 3][other.size()];
}

size_t letters_off(size_t length)
{
    return std::min(most_off, length / 3);
}
