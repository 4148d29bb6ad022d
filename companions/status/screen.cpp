#include "screen.h"

#include <string.h>

namespace {

constexpr int most_of_a_kind = 8; // rows of one name that a screen shows
constexpr int most_helps = 4;

struct Paint {
    bool on;
    const char* bold() const { return on ? "\033[1m" : ""; }
    const char* red() const { return on ? "\033[31m" : ""; }
    const char* green() const { return on ? "\033[32m" : ""; }
    const char* yellow() const { return on ? "\033[33m" : ""; }
    const char* end() const { return on ? "\033[0m" : ""; }

    const char* of(State state) const
    {
        switch (state) {
        case State::good:
            return green();
        case State::wrong:
            return red();
        case State::unknown:
            return yellow();
        case State::fact:
            break;
        }
        return "";
    }
};

const char* mark_of(State state)
{
    switch (state) {
    case State::good:
        return "ok";
    case State::wrong:
        return "!!";
    case State::unknown:
        return "??";
    case State::fact:
        break;
    }
    return "  ";
}

// "prefix_valid" and its item, as words.
void label_of(const Row& row, char* label, size_t size)
{
    snprintf(label, size, "%s%s%s", row.name, row.item[0] != '\0' ? " " : "", row.item);
    for (char* at = label; *at != '\0'; ++at)
        *at = *at == '_' ? ' ' : *at;
}

bool is_said_before(const Report& report, size_t index)
{
    for (size_t i = 0; i < index; ++i) {
        if (strcmp(report.row(i).help, report.row(index).help) == 0)
            return true;
    }
    return false;
}

// Each command once, however many rows it helps.
void write_helps(FILE* out, const Report& report)
{
    int count = 0;
    for (size_t i = 0; i < report.size(); ++i) {
        const char* const help = report.row(i).help;
        if (help[0] != '\0' && !is_said_before(report, i) && ++count <= most_helps)
            fprintf(out, "  -> %s\n", help);
    }
}

void write_summary(FILE* out, const Report& report, const Paint& paint)
{
    const Health health = report.health();
    const State state = health == Health::healthy    ? State::good
                        : health == Health::degraded ? State::wrong
                                                     : State::unknown;
    const char* const word = health == Health::healthy    ? "healthy"
                             : health == Health::degraded ? "degraded"
                                                          : "cannot tell";
    fprintf(out, "%s%s%s%s\n", paint.bold(), paint.of(state), word, paint.end());
    if (report.is_full())
        fprintf(out, "  ?? there is more than there is room for\n");
    for (size_t i = 0; i < report.size(); ++i) {
        const Row& row = report.row(i);
        if (row.state != State::wrong && row.state != State::unknown)
            continue;
        char label[128];
        label_of(row, label, sizeof label);
        // Without the value nobody knows which "it" is.
        const bool has_value = strcmp(row.value, "-") != 0;
        fprintf(out, "  %s%s%s %s %s%s%s: %s\n", paint.of(row.state), mark_of(row.state), paint.end(), row.section,
                label, has_value ? " " : "", has_value ? row.value : "", row.why);
    }
    write_helps(out, report);
}

} // namespace

void write_screen(FILE* out, const Report& report, bool colors)
{
    const Paint paint = {colors};
    write_summary(out, report, paint);
    const char* section = "";
    const char* name = "";
    int of_a_kind = 0;
    for (size_t i = 0; i < report.size(); ++i) {
        const Row& row = report.row(i);
        if (strcmp(section, row.section) != 0) {
            fprintf(out, "\n%s%s%s\n", paint.bold(), row.section, paint.end());
            section = row.section;
            name = "";
        }
        of_a_kind = strcmp(name, row.name) == 0 ? of_a_kind + 1 : 1;
        name = row.name;
        if (of_a_kind > most_of_a_kind && (row.state == State::fact || row.state == State::good))
            continue;
        char label[128];
        label_of(row, label, sizeof label);
        fprintf(out, "  %s%s%s %-22s %s", paint.of(row.state), mark_of(row.state), paint.end(), label, row.value);
        if (row.why[0] != '\0')
            fprintf(out, "  %s%s%s", paint.of(row.state), row.why, paint.end());
        fputc('\n', out);
    }
}
