#include "options.h"

#include <errno.h>
#include <stdlib.h>

#include <iterator>

#include "sections.h"

namespace {

constexpr long most_seconds = 86400;
constexpr long default_seconds = 2;
constexpr size_t most_letters = 24; // of a word for which a known one is guessed

constexpr const char* option_names[] = {"--json", "--watch", "--help", "--version"};

size_t least(size_t a, size_t b, size_t c)
{
    const size_t less = a < b ? a : b;
    return less < c ? less : c;
}

// How many letters have to be put in, taken out or exchanged to make one word of the other.
size_t difference(const char* a, const char* b)
{
    size_t row[most_letters + 1];
    const size_t length = strlen(b);
    for (size_t j = 0; j <= length; ++j)
        row[j] = j;
    for (size_t i = 1; a[i - 1] != '\0'; ++i) {
        size_t corner = row[0];
        row[0] = i;
        for (size_t j = 1; j <= length; ++j) {
            const size_t above = row[j];
            row[j] = least(above + 1, row[j - 1] + 1, corner + (a[i - 1] == b[j - 1] ? 0 : 1));
            corner = above;
        }
    }
    return row[length];
}

// The known word that may have been meant; null when none is near.
template <size_t N>
const char* meant_by(const char* word, const char* const (&known)[N])
{
    if (strlen(word) > most_letters)
        return nullptr;
    for (const char* const each : known) {
        if (difference(word, each) <= 2)
            return each;
    }
    return nullptr;
}

Text<64> printable(const char* word)
{
    Text<64> text;
    text = word;
    for (char* at = text.data(); *at != '\0'; ++at)
        *at = *at >= ' ' && *at <= '~' ? *at : '?';
    return text;
}

bool refuse_option(const char* word, Text<256>& complaint)
{
    complaint.print("%s is no option", printable(word));
    if (const char* const meant = meant_by(word, option_names)) {
        complaint.append("; did you mean ");
        complaint.append(meant);
        complaint.append("?");
    }
    return false;
}

bool take_seconds(const char* text, long& seconds, Text<256>& complaint)
{
    char* end = nullptr;
    errno = 0;
    seconds = strtol(text, &end, 10);
    if (errno == 0 && end != text && *end == '\0' && seconds >= 1 && seconds <= most_seconds)
        return true;
    complaint.print("\"%s\" is no whole number of seconds from 1 to %ld", printable(text), most_seconds);
    return false;
}

// The sections whose names begin with the word.
unsigned sections_of(const char* word)
{
    unsigned found = 0;
    for (size_t i = 0; i < std::size(section_names); ++i) {
        if (word[0] != '\0' && strncmp(section_names[i], word, strlen(word)) == 0)
            found |= 1U << i;
    }
    return found;
}

bool take_section(const char* word, Options& options, Text<256>& complaint)
{
    const unsigned found = sections_of(word);
    options.sections |= found;
    if (found != 0)
        return true;
    complaint.print("\"%s\" is no section; ", printable(word));
    if (const char* const meant = meant_by(word, section_names)) {
        complaint.append("did you mean ");
        complaint.append(meant);
        complaint.append("?");
        return false;
    }
    complaint.append("there are");
    for (const char* const name : section_names) {
        complaint.append(" ");
        complaint.append(name);
    }
    return false;
}

} // namespace

bool Options::wants(const char* section) const
{
    for (size_t i = 0; i < std::size(section_names); ++i) {
        if (strcmp(section_names[i], section) == 0)
            return sections == 0 || (sections & 1U << i) != 0;
    }
    return false;
}

bool parse_options(int count, char** words, Options& options, Text<256>& complaint)
{
    for (int i = 1; i < count; ++i) {
        const char* const word = words[i];
        const bool wants_help = strcmp(word, "--help") == 0 || strcmp(word, "-h") == 0;
        if (wants_help || strcmp(word, "--version") == 0) {
            options.job = wants_help ? Options::Job::help : Options::Job::version;
            if (count == 2)
                return true;
            complaint.print("%s stands alone", word);
            return false;
        }
        if (strcmp(word, "--json") == 0) {
            options.json = true;
        } else if (strncmp(word, "--watch=", 8) == 0) {
            if (!take_seconds(word + 8, options.watch, complaint))
                return false;
        } else if (strcmp(word, "--watch") == 0) {
            options.watch = default_seconds;
            const bool has_number = i + 1 < count && words[i + 1][0] >= '0' && words[i + 1][0] <= '9';
            if (has_number && !take_seconds(words[++i], options.watch, complaint))
                return false;
        } else if (word[0] == '-') {
            return refuse_option(word, complaint);
        } else if (!take_section(word, options, complaint)) {
            return false;
        }
    }
    if (options.json && options.sections != 0) {
        complaint = "--json writes every section; name none";
        return false;
    }
    return true;
}
