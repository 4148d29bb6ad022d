#include "screen.h"

#include <string.h>

#include "folded_line.h"
#include "frame/text.h"

namespace {

constexpr int most_of_a_kind = 8; // rows of one name that a screen shows
constexpr int most_helps = 4;
constexpr int fewest_alike = 3; // rows with one reason that the summary tells as one
constexpr unsigned narrow = 60; // columns of a terminal that has no room for a table

char line[16384]; // a value and a reason, escaped, and some words

struct Paint {
    bool on;
    const char* bold() const { return on ? "\033[1m" : ""; }
    const char* red() const { return on ? "\033[31m" : ""; }
    const char* green() const { return on ? "\033[32m" : ""; }
    const char* yellow() const { return on ? "\033[33m" : ""; }
    const char* end() const { return on ? "\033[0m" : ""; }
    const char* end_of(State state) const { return state == State::fact ? "" : end(); }

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

// "prefix_valid" and its item, as words. A daemon goes by its name alone.
void label_of(const Row& row, char* label, size_t size)
{
    if (strcmp(row.section, "daemons") == 0)
        snprintf(label, size, "%s%s", row.item, strcmp(row.name, "file") == 0 ? " file" : "");
    else
        snprintf(label, size, "%s%s%s", row.name, row.item[0] != '\0' ? " " : "", row.item);
    for (char* at = label; *at != '\0'; ++at)
        *at = *at == '_' ? ' ' : *at;
}

bool ends_with_step(const char* command, const char* step)
{
    const size_t length = strlen(command);
    const size_t step_length = strlen(step);
    return length > step_length + 4 && strcmp(command + length - step_length, step) == 0
           && strncmp(command + length - step_length - 4, " && ", 4) == 0;
}

// True when an earlier row has the same command, or any row one that ends with it.
bool is_said_elsewhere(const Report& report, size_t index)
{
    const char* const help = report.row(index).help;
    for (size_t i = 0; i < report.size(); ++i) {
        const char* const other = report.row(i).help;
        if ((i < index && strcmp(other, help) == 0) || ends_with_step(other, help))
            return true;
    }
    return false;
}

// Each command once, however many rows it helps. Not folded: a command is there to be copied.
void write_helps(FILE* out, const Report& report)
{
    int count = 0;
    for (size_t i = 0; i < report.size(); ++i) {
        const char* const help = report.row(i).help;
        if (help[0] != '\0' && !is_said_elsewhere(report, i) && ++count <= most_helps)
            fprintf(out, "  -> %s\n", help);
    }
}

bool is_reason(const Row& row)
{
    return row.state == State::wrong || row.state == State::unknown;
}

struct Alike {
    int all = 0;
    int earlier = 0;
};

// How many reasons say the same as this one.
Alike count_alike(const Report& report, size_t index)
{
    Alike count;
    for (size_t i = 0; i < report.size(); ++i) {
        if (!is_reason(report.row(i)) || strcmp(report.row(i).why, report.row(index).why) != 0)
            continue;
        ++count.all;
        count.earlier += i < index ? 1 : 0;
    }
    return count;
}

void write_reason(FILE* out, const Report& report, size_t index, const Paint& paint, unsigned columns)
{
    const Row& row = report.row(index);
    const Alike alike = count_alike(report, index);
    const bool is_one_of_many = alike.all >= fewest_alike;
    if (is_one_of_many && alike.earlier > 0)
        return;
    char label[128];
    label_of(row, label, sizeof label);
    Text<48> more;
    if (is_one_of_many)
        more.print(" (and %d more alike)", alike.all - 1);
    // Without the value nobody knows which "it" is.
    const bool has_value = strcmp(row.value, "-") != 0;
    snprintf(line, sizeof line, "  %s%s%s %s %s%s%s: %s%s", paint.of(row.state), mark_of(row.state),
             paint.end_of(row.state), row.section, label, has_value ? " " : "", has_value ? row.value : "", row.why,
             more.c_str());
    write_folded(out, line, columns, 5);
}

// While a run is at work, what is wrong may be what it has not come to yet.
void write_run(FILE* out, const Report& report, unsigned columns)
{
    for (size_t i = 0; i < report.size(); ++i) {
        const Row& row = report.row(i);
        if (strcmp(row.name, "at_work") != 0 || row.state != State::fact)
            continue;
        snprintf(line, sizeof line, "     %s: what is not right yet may come right in a few seconds", row.value);
        write_folded(out, line, columns, 5);
    }
}

void write_summary(FILE* out, const Report& report, const Paint& paint, unsigned columns)
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
    if (health != Health::healthy)
        write_run(out, report, columns);
    for (size_t i = 0; i < report.size(); ++i) {
        if (is_reason(report.row(i)))
            write_reason(out, report, i, paint, columns);
    }
    write_helps(out, report);
}

void write_row(FILE* out, const Row& row, const Paint& paint, unsigned columns)
{
    char label[128];
    label_of(row, label, sizeof label);
    const bool has_table = columns == 0 || columns >= narrow;
    const int used = snprintf(line, sizeof line, "  %s%s%s %-*s %s", paint.of(row.state), mark_of(row.state),
                              paint.end_of(row.state), has_table ? 22 : 0, label, row.value);
    if (row.why[0] != '\0' && used > 0 && static_cast<size_t>(used) < sizeof line)
        snprintf(line + used, sizeof line - static_cast<size_t>(used), "  %s%s%s", paint.of(row.state), row.why,
                 paint.end_of(row.state));
    write_folded(out, line, columns, has_table ? 28 : 5);
}

} // namespace

void write_screen(FILE* out, const Report& report, const Options& options, const ScreenStyle& style)
{
    const Paint paint = {style.colors};
    write_summary(out, report, paint, style.columns);
    const char* section = "";
    const char* name = "";
    int of_a_kind = 0;
    for (size_t i = 0; i < report.size(); ++i) {
        const Row& row = report.row(i);
        if (!options.wants(row.section))
            continue;
        if (strcmp(section, row.section) != 0) {
            fprintf(out, "\n%s%s%s\n", paint.bold(), row.section, paint.end());
            section = row.section;
            name = "";
        }
        of_a_kind = strcmp(name, row.name) == 0 ? of_a_kind + 1 : 1;
        name = row.name;
        if (of_a_kind <= most_of_a_kind || is_reason(row))
            write_row(out, row, paint, style.columns);
    }
}
