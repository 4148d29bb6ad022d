#include "store_format.h"

#include <endian.h>
#include <string.h>

#include "settings_text.h"
#include "text_parts.h"

namespace {

constexpr std::string_view mark = "#ccfg 1 ";
constexpr size_t size_digits = 8;
constexpr size_t sum_digits = 16;
static_assert(store_head_size == mark.size() + size_digits + 1 + sum_digits + 1);

// Each step gives another result for another sum and for another word.
uint64_t add_word(uint64_t sum, uint64_t word)
{
    constexpr uint64_t odd = 0x9e3779b97f4a7c15;
    sum = (sum ^ word) * odd;
    return sum ^ sum >> 32;
}

uint64_t word_of(const char* bytes, size_t size)
{
    uint64_t word = 0;
    memcpy(&word, bytes, size);
    return le64toh(word);
}

char* write_digits(char* to, uint64_t number, size_t digits)
{
    for (size_t i = digits; i-- > 0; number >>= 4)
        to[i] = "0123456789abcdef"[number & 0xf];
    return to + digits;
}

} // namespace

uint64_t content_sum(std::string_view bytes)
{
    uint64_t sum = bytes.size();
    const char* at = bytes.data();
    size_t left = bytes.size();
    for (; left >= sizeof sum; at += sizeof sum, left -= sizeof sum)
        sum = add_word(sum, word_of(at, sizeof sum));
    return left == 0 ? sum : add_word(sum, word_of(at, left));
}

void write_store_head(std::string_view settings, char* head)
{
    memcpy(head, mark.data(), mark.size());
    char* to = write_digits(head + mark.size(), settings.size(), size_digits);
    *to++ = ' ';
    to = write_digits(to, content_sum(settings), sum_digits);
    *to = '\n';
}

bool settings_of_store(std::string_view file, std::string_view& settings)
{
    if (file.size() < store_head_size || file.size() > store_capacity)
        return false;
    settings = rest_after(file, store_head_size);
    char head[store_head_size];
    write_store_head(settings, head);
    return memcmp(file.data(), head, sizeof head) == 0 && are_settings(settings);
}
