#include <inttypes.h>
#include <string.h>

#include "screen.h"

namespace {

// The report's texts are printable ASCII already.
void write_string(FILE* out, const char* text)
{
    fputc('"', out);
    for (const char* at = text; *at != '\0'; ++at) {
        if (*at == '"' || *at == '\\')
            fputc('\\', out);
        fputc(*at, out);
    }
    fputc('"', out);
}

void write_member(FILE* out, const char* name, const char* text)
{
    fprintf(out, ",\"%s\":", name);
    write_string(out, text);
}

const char* word_of(State state)
{
    switch (state) {
    case State::good:
        return "good";
    case State::wrong:
        return "wrong";
    case State::unknown:
        return "unknown";
    case State::fact:
        break;
    }
    return "fact";
}

void write_row(FILE* out, const Row& row)
{
    fprintf(out, "{\"name\":");
    write_string(out, row.name);
    if (row.item[0] != '\0')
        write_member(out, "item", row.item);
    write_member(out, "value", row.value);
    if (row.has_seconds)
        fprintf(out, ",\"seconds\":%lld", row.seconds);
    write_member(out, "state", word_of(row.state));
    if (row.why[0] != '\0')
        write_member(out, "why", row.why);
    if (row.help[0] != '\0')
        write_member(out, "help", row.help);
    fputc('}', out);
}

} // namespace

void write_json(FILE* out, const Report& report, long long now)
{
    const Health health = report.health();
    const char* const word = health == Health::healthy    ? "healthy"
                             : health == Health::degraded ? "degraded"
                                                          : "unknown";
    fprintf(out, "{\"schema\":1,\"time\":%lld,\"health\":\"%s\",\"complete\":%s,\"sections\":{", now, word,
            report.is_complete() ? "true" : "false");
    const char* section = nullptr;
    for (size_t i = 0; i < report.size(); ++i) {
        const Row& row = report.row(i);
        if (section == nullptr || strcmp(section, row.section) != 0) {
            fprintf(out, "%s", section == nullptr ? "" : "],");
            write_string(out, row.section);
            fprintf(out, ":[");
            section = row.section;
        } else {
            fputc(',', out);
        }
        write_row(out, row);
    }
    fprintf(out, "%s}}\n", section == nullptr ? "" : "]");
}
