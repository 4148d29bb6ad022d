// What a real shell makes of composed lines.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "frame/shell.h"

namespace {

using Words = std::vector<std::string>;

// A template and the words that it stands for.
struct Template {
    const char* name;
    std::string (*compose)(const char* value);
    Words (*words)(const std::string& value);
};

// An unquoted empty value leaves nothing behind.
Words unless_empty(const std::string& value)
{
    return value.empty() ? Words{} : Words{value};
}

std::string text_of(const ShellLine& line)
{
    EXPECT_TRUE(line.fits());
    return line.c_str();
}

const Template templates[] = {
    {"alone", [](const char* v) { return text_of(ShellLine("%s", v)); }, unless_empty},
    {"in front of a length", [](const char* v) { return text_of(ShellLine("del %s/%d dev", v, 64)); },
     [](const std::string& v) {
         return Words{"del", v + "/64", "dev"};
     }},
    {"behind a key", [](const char* v) { return text_of(ShellLine("get extra_%s@system", v)); },
     [](const std::string& v) {
         return Words{"get", "extra_" + v + "@system"};
     }},
    {"twice in one word", [](const char* v) { return text_of(ShellLine("add %s%s::/64 end", v, v)); },
     [](const std::string& v) {
         return Words{"add", v + v + "::/64", "end"};
     }},
    {"in double quotes", [](const char* v) { return text_of(ShellLine("P007 \"%s\" end", v)); },
     [](const std::string& v) {
         return Words{"P007", v, "end"};
     }},
    {"twice in double quotes", [](const char* v) { return text_of(ShellLine("\"a %s b %s\" end", v, v)); },
     [](const std::string& v) {
         return Words{"a " + v + " b " + v, "end"};
     }},
    {"in single quotes", [](const char* v) { return text_of(ShellLine("sed '/^nameserver %s/d' end", v)); },
     [](const std::string& v) {
         return Words{"sed", "/^nameserver " + v + "/d", "end"};
     }},
    {"behind all quotes", [](const char* v) { return text_of(ShellLine("\"it's\" '\"' a%s", v)); },
     [](const std::string& v) {
         return Words{"it's", "\"", "a" + v};
     }},
    {"in every place", [](const char* v) { return text_of(ShellLine("a%s \"%s\" '%s' z", v, v, v)); },
     [](const std::string& v) {
         return Words{"a" + v, v, v, "z"};
     }},
};

// Values that have broken shell lines before, and random ones of the characters that matter.
Words hostile_values()
{
    Words values = {"",
                    " ",
                    "a b",
                    "'",
                    "''",
                    "\"",
                    "\\",
                    "\\\\",
                    "a\\",
                    "\\'",
                    "'\\''",
                    "'; touch broken; '",
                    "\"; touch broken; \"",
                    "$(echo x)",
                    "`echo x`",
                    "$HOME",
                    "${IFS}",
                    "a;b",
                    "a&b",
                    "a|b",
                    "a>b",
                    "a<b",
                    "a\nb",
                    "\n",
                    "a\tb",
                    "*",
                    "?",
                    "[a-z]*",
                    "~",
                    "~root",
                    "#",
                    "a #b",
                    "!",
                    "!!",
                    "{a,b}",
                    "()",
                    "x=y",
                    "-rf",
                    "\r\n",
                    "%s%d",
                    "$'\\n'",
                    "\xc3\xa9",
                    "\xff\xfe",
                    "\\$x",
                    "\\\"",
                    "\\`"};
    for (int byte = 1; byte < 256; ++byte) {
        values.emplace_back(1, static_cast<char>(byte));
        values.push_back(std::string("a") + static_cast<char>(byte) + "b");
    }
    constexpr char alphabet[] = "'\"\\$`();&|<> \n\t*?[]{}~#!ab1-=";
    std::mt19937 random(20); // NOLINT(cert-msc51-cpp): the same values in every run
    std::uniform_int_distribution<std::size_t> letter(0, sizeof alphabet - 2);
    std::uniform_int_distribution<std::size_t> length(1, 24);
    for (int i = 0; i < 1000; ++i) {
        std::string value;
        for (std::size_t left = length(random); left > 0; --left)
            value += alphabet[letter(random)];
        values.push_back(value);
    }
    return values;
}

// The script runs in a directory of its own, for what a line that breaks out of its quotes would do.
std::string output_of_shell(const std::string& script)
{
    std::string directory = testing::TempDir() + "ipv6ctl-words-XXXXXX";
    EXPECT_NE(mkdtemp(directory.data()), nullptr);
    std::ofstream(directory + "/script", std::ios::binary) << script;
    std::FILE* const pipe = popen(("cd " + directory + " && /bin/sh ./script 2>&1").c_str(), "r");
    std::string output;
    char buffer[4096];
    for (std::size_t got = fread(buffer, 1, sizeof buffer, pipe); got > 0; got = fread(buffer, 1, sizeof buffer, pipe))
        output.append(buffer, got);
    EXPECT_EQ(pclose(pipe), 0);
    std::filesystem::remove_all(directory);
    return output;
}

Words split_at_nul(const std::string& text)
{
    Words words;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\0', at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

} // namespace

TEST(ShellWordsTest, gives_exactly_the_words_of_the_template)
{
    const Words values = hostile_values();
    for (const Template& t : templates) {
        std::string script;
        Words expected;
        for (const std::string& value : values) {
            script += "set -- " + t.compose(value.c_str()) + "\nprintf '%s\\0' \"$#\" \"$@\"\n";
            const Words words = t.words(value);
            expected.push_back(std::to_string(words.size()));
            expected.insert(expected.end(), words.begin(), words.end());
        }
        EXPECT_EQ(split_at_nul(output_of_shell(script)), expected) << t.name;
    }
}
