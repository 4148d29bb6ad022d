#include "support/composed_lines.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "support/finding.h"
#include "support/shell_words.h"

namespace {

constexpr char slot = '\x01'; // stands for a value in a template; no template holds it

std::string text_of(const ShellValue& value)
{
    return value.text != nullptr ? value.text : std::to_string(value.number);
}

std::string with_slots(const char* format)
{
    std::string text;
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at != '%') {
            text += *at;
            continue;
        }
        text += slot;
        ++at;
    }
    return text;
}

// The template's own `*` in quotes and the like are fine; its slots are plain letters to the splitter.
std::vector<ShellWord> expected_words(const char* format, const ShellValue* values, std::size_t count)
{
    const ShellSplit split = split_shell_line(with_slots(format));
    if (!split.fault.empty())
        finding(std::string("the template has ") + split.fault + ": " + format);
    std::vector<ShellWord> words;
    std::size_t used = 0;
    for (const ShellWord& word : split.words) {
        ShellWord filled = word;
        filled.text.clear();
        for (const char c : word.text) {
            if (c != slot)
                filled.text += c;
            else if (used < count)
                filled.text += text_of(values[used++]);
        }
        // An empty value outside quotes leaves no word.
        if (!filled.text.empty() || filled.was_quoted)
            words.push_back(filled);
    }
    if (used != count)
        finding(std::string("values are left over: ") + format);
    return words;
}

bool same_words(const std::vector<ShellWord>& a, const std::vector<ShellWord>& b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].text != b[i].text || a[i].is_operator != b[i].is_operator)
            return false;
    }
    return true;
}

// The template without its operators, so that a shell can be asked for its words and has nothing to run or to open.
std::string without_operators(const char* format)
{
    std::string bare;
    char quote = '\0';
    for (const char* at = format; *at != '\0'; ++at) {
        if (quote == '\0' && (*at == '\'' || *at == '"'))
            quote = *at;
        else if (*at == quote)
            quote = '\0';
        bare += quote == '\0' && std::string("|&;<>").find(*at) != std::string::npos ? ' ' : *at;
    }
    return bare;
}

bool real_compose(char* line, std::size_t size, const char* format, const ShellValue* values, std::size_t count);
std::FILE* real_fopen(const char* path, const char* mode);

// Into the file that IPV6CTL_SHELL_LINES names, for tests/fuzz/shells: the line, the number of its words, the words,
// each with a NUL behind it. Every line once.
void note_for_shells(const char* format, const ShellValue* values, std::size_t count)
{
    static const char* const path = std::getenv("IPV6CTL_SHELL_LINES");
    if (path == nullptr || count == 0)
        return;
    static std::FILE* const file = real_fopen(path, "wb");
    static std::set<std::string> noted;
    const std::string bare = without_operators(format);
    std::string line(16384, '\0');
    if (file == nullptr || !real_compose(line.data(), line.size(), bare.c_str(), values, count))
        return;
    line.resize(line.find('\0'));
    if (!noted.insert(line).second)
        return;
    const std::vector<ShellWord> words = expected_words(bare.c_str(), values, count);
    std::fprintf(file, "%s%c%zu%c", line.c_str(), '\0', words.size(), '\0');
    for (const ShellWord& word : words)
        std::fprintf(file, "%s%c", word.text.c_str(), '\0');
}

} // namespace

std::set<std::string>& composed_lines()
{
    static std::set<std::string> lines;
    return lines;
}

void check_composed(const char* format, const ShellValue* values, std::size_t count, const std::string& line)
{
    const ShellSplit split = split_shell_line(line);
    if (!split.fault.empty())
        finding("a shell line with " + split.fault + ": " + line);
    if (!same_words(split.words, expected_words(format, values, count)))
        finding("a shell line with other words than its template " + std::string(format) + ": " + line);
}

extern "C" {

bool __real__Z18compose_shell_linePcmPKcPK10ShellValuem(char* line, std::size_t size, const char* format,
                                                        const ShellValue* values, std::size_t count);

std::FILE* __real_fopen(const char* path, const char* mode);

bool __wrap__Z18compose_shell_linePcmPKcPK10ShellValuem(char* line, std::size_t size, const char* format,
                                                        const ShellValue* values, std::size_t count)
{
    const bool fits = __real__Z18compose_shell_linePcmPKcPK10ShellValuem(line, size, format, values, count);
    if (fits) {
        check_composed(format, values, count, line);
        composed_lines().insert(line);
        note_for_shells(format, values, count);
    }
    return fits;
}
}

namespace {

bool real_compose(char* line, std::size_t size, const char* format, const ShellValue* values, std::size_t count)
{
    return __real__Z18compose_shell_linePcmPKcPK10ShellValuem(line, size, format, values, count);
}

std::FILE* real_fopen(const char* path, const char* mode)
{
    return __real_fopen(path, mode);
}

} // namespace
