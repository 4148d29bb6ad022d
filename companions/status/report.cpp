#include "report.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

namespace {

constexpr size_t value_capacity = 1200; // the longest value of the store and a few words

bool is_plain(unsigned char byte)
{
    return byte >= 0x20 && byte < 0x7F && byte != '\\';
}

} // namespace

void Report::clear()
{
    section_ = "";
    count_ = 0;
    used_ = 0;
    full_ = false;
    shortened_ = false;
    withholds_helps_ = false;
}

// Returns the text escaped, kept until clear.
const char* Report::keep(const char* text)
{
    constexpr char digits[] = "0123456789abcdef";
    const size_t start = used_;
    for (const char* at = text; *at != '\0'; ++at) {
        const auto byte = static_cast<unsigned char>(*at);
        if (text_capacity - used_ < 6) {
            full_ = true;
            break;
        }
        if (is_plain(byte)) {
            texts_[used_++] = *at;
            continue;
        }
        texts_[used_++] = '\\';
        texts_[used_++] = 'x';
        texts_[used_++] = digits[byte >> 4U];
        texts_[used_++] = digits[byte & 15U];
    }
    if (used_ == text_capacity) {
        full_ = true;
        return "";
    }
    texts_[used_++] = '\0';
    return texts_ + start;
}

Report::Added Report::add(const char* name, const char* format, ...)
{
    char value[value_capacity];
    va_list values;
    va_start(values, format);
    vsnprintf(value, sizeof value, format, values);
    va_end(values);
    full_ = full_ || count_ == capacity;
    Row& row = count_ < capacity ? rows_[count_++] : spare_;
    row = Row();
    row.section = section_;
    row.name = name;
    row.value = keep(value);
    return {*this, row};
}

void Report::add_more(const char* what, int count)
{
    if (count <= 0)
        return;
    shortened_ = true;
    add("more", "%d of %s are not listed", count, what);
}

Report::Added& Report::Added::item(const char* text)
{
    row_.item = report_.keep(text);
    return *this;
}

Report::Added& Report::Added::seconds(long long value)
{
    row_.has_seconds = true;
    row_.seconds = value;
    return *this;
}

Report::Added& Report::Added::good()
{
    if (row_.state == State::fact)
        row_.state = State::good;
    return *this;
}

void Report::Added::judge(State state, const char* format, va_list values)
{
    char why[value_capacity];
    vsnprintf(why, sizeof why, format, values);
    row_.state = state;
    row_.why = report_.keep(why);
}

Report::Added& Report::Added::wrong(const char* format, ...)
{
    va_list values;
    va_start(values, format);
    judge(State::wrong, format, values);
    va_end(values);
    return *this;
}

Report::Added& Report::Added::unknown(const char* format, ...)
{
    va_list values;
    va_start(values, format);
    judge(State::unknown, format, values);
    va_end(values);
    return *this;
}

Report::Added& Report::Added::help(const char* command)
{
    if (!report_.withholds_helps_)
        row_.help = report_.keep(command);
    return *this;
}

Health Report::health() const
{
    Health health = full_ ? Health::unknown : Health::healthy;
    for (size_t i = 0; i < count_; ++i) {
        if (rows_[i].state == State::unknown)
            health = Health::unknown;
        else if (rows_[i].state == State::wrong && health == Health::healthy)
            health = Health::degraded;
    }
    return health;
}
