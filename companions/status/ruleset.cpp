#include "ruleset.h"

#include <initializer_list>

namespace {

constexpr int most_missing = 100; // rules that are looked for in vain; all that follow count as missing

using Word = Text<32>;

// What a rule is known by.
struct Rule {
    Word chain;
    Word target;
    Word in;
    Word out;

    bool operator==(const Rule& other) const
    {
        return chain.equals(other.chain) && target.equals(other.target) && in.equals(other.in) && out.equals(other.out);
    }
};

// The filter's rules, one after the other.
class Rules {
public:
    explicit Rules(const char* text) : line_(text) {}

    // False behind the last one. `text` (may be null) gets the whole rule.
    bool next(Rule& rule, Text<256>* text = nullptr)
    {
        while (*line_ != '\0') {
            const char* const line = line_;
            line_ += strcspn(line_, "\n");
            const char* const end = line_;
            line_ += *line_ == '\n' ? 1 : 0;
            if (*line == '*')
                is_filter_ = strncmp(line, "*filter", 7) == 0;
            if (!is_filter_ || !parse(line, end, rule, text))
                continue;
            return true;
        }
        return false;
    }

private:
    // A rule is a line with "-A ", behind the counters where there are some.
    static bool parse(const char* line, const char* end, Rule& rule, Text<256>* text)
    {
        const char* at = line;
        if (*at == '[') {
            at += strcspn(at, "]\n");
            at += *at == ']' ? 1 : 0;
        }
        at += strspn(at, " ");
        if (strncmp(at, "-A ", 3) != 0)
            return false;
        if (text != nullptr)
            text->assign(at, static_cast<size_t>(end - at));
        rule = Rule();
        Word* value = nullptr;
        while (at < end) {
            const size_t length = strcspn(at, " \n");
            Word word;
            word.assign(at, length);
            if (value != nullptr)
                *value = word;
            value = word.equals("-A")   ? &rule.chain
                    : word.equals("-j") ? &rule.target
                    : word.equals("-i") ? &rule.in
                    : word.equals("-o") ? &rule.out
                                        : nullptr;
            at += length;
            at += strspn(at, " ");
        }
        return true;
    }

    const char* line_;
    bool is_filter_ = true; // also before the first table's name
};

int count_rules(const char* text)
{
    Rules rules(text);
    Rule rule;
    int count = 0;
    while (rules.next(rule))
        ++count;
    return count;
}

// Moves `loaded` behind the rule; leaves it where it is when there is none.
bool find_rule(Rules& loaded, const Rule& wanted)
{
    Rules ahead = loaded;
    for (Rule rule; ahead.next(rule);) {
        if (rule == wanted) {
            loaded = ahead;
            return true;
        }
    }
    return false;
}

void compare_chain(const char* file, const char* saved, const char* chain, RulesetComparison& result)
{
    Rules written(file);
    Rules loaded(saved);
    Text<256> text;
    for (Rule rule; written.next(rule, &text);) {
        if (!rule.chain.equals(chain) || (result.missing < most_missing && find_rule(loaded, rule)))
            continue;
        if (result.missing++ == 0)
            result.first_missing = text;
    }
}

} // namespace

RulesetComparison compare_rulesets(const char* file, const char* saved)
{
    RulesetComparison result;
    result.written = count_rules(file);
    result.loaded = count_rules(saved);
    for (const char* const chain : {"INPUT", "FORWARD", "OUTPUT"})
        compare_chain(file, saved, chain, result);
    result.has_empty_address = strstr(file, " -d /") != nullptr || strstr(file, " -s /") != nullptr;
    return result;
}
