#include "ccfg_verbs.h"

#include "nearness.h"

namespace {

constexpr char head[] = "Reads and changes the settings of the device; every change is permanent at once.\n";

constexpr char tail[] = "KEY and SECTION: 1 to 63 characters of A-Za-z0-9_.- each.\n"
                        "VALUE: up to 1023 bytes without control characters.\n"
                        "The store is /etc/config/ccfg.db, or the file that the environment variable\n"
                        "TESA_STORE names. Exit status: 0, 1 when it failed, 2 when it was called\n"
                        "wrongly. \"ccfg_cli help\" also lists all keys.\n";

constexpr CcfgVerb verbs[] = {
    {"get", "KEY@SECTION", "writes the value; exit status 1 without output when there is none\n"},
    {"set", "KEY@SECTION=VALUE",
     "sets the value; a terminal is told when nothing reads the key, or when\n"
     "          the value is none for it\n"},
    {"unset", "KEY@SECTION", "removes the setting\n"},
    {"list", "[SECTION]",
     "writes all settings, or those of one section, sorted, as\n"
     "          KEY@SECTION=VALUE\n"},
    {"export", "", "writes all settings as import reads them\n"},
    {"import", "[FILE]",
     "sets what the lines KEY@SECTION=VALUE of FILE, or of standard input,\n"
     "          say: all of them, or none when one of them is wrong; blank lines and\n"
     "          lines that start with # are skipped; a damaged store is kept under\n"
     "          another name, and the new one holds the factory settings and the\n"
     "          lines\n"},
    {"check", "[FILE]",
     "looks for what is wrong with the settings of the store, or with the\n"
     "          lines of FILE (- is standard input) as if there were no others:\n"
     "          values out of range, unknown keys, and what daemons refuse or hosts\n"
     "          suffer from; a line each, and exit status 1, when there is something\n"},
    {"help", "[KEY[@SECTION] | SECTION | WORD | VERB]",
     "tells what a key is for, its values, who reads it and what is in\n"
     "          force; or the keys of a section, or those that have to do with a\n"
     "          word, or what a verb does; alone: this and all keys\n"},
};

} // namespace

const CcfgVerb* find_verb(std::string_view name)
{
    for (const CcfgVerb& verb : verbs) {
        if (name == verb.name)
            return &verb;
    }
    return nullptr;
}

const CcfgVerb* nearest_verb(std::string_view name)
{
    const CcfgVerb* nearest = nullptr;
    size_t best = letters_off(name.size()) + 1;
    for (const CcfgVerb& verb : verbs) {
        const size_t letters = letters_between(name, verb.name);
        if (letters < best) {
            best = letters;
            nearest = &verb;
        }
    }
    return nearest;
}

void write_usage(FILE* out, const CcfgVerb* verb)
{
    const char* start = "usage:";
    for (const CcfgVerb& one : verbs) {
        if (verb != nullptr && verb != &one)
            continue;
        fprintf(out, "%-6s ccfg_cli %s%s%s\n", start, one.name, one.arguments[0] != '\0' ? " " : "", one.arguments);
        start = "";
    }
    if (verb == nullptr)
        fprintf(out, "       ccfg_cli --help | --version\n");
}

void write_verb_help(FILE* out, const CcfgVerb* verb)
{
    write_usage(out, verb);
    if (verb == nullptr)
        fprintf(out, "\n%s", head);
    fputc('\n', out);
    for (const CcfgVerb& one : verbs) {
        if (verb == nullptr || verb == &one)
            fprintf(out, "  %-7s %s", one.name, one.text);
    }
    if (verb == nullptr)
        fprintf(out, "\n%s", tail);
}
