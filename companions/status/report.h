// What is known of the gateway, as rows: gathered first, shown as a screen or as JSON afterwards.
#pragma once

#include <stdarg.h>
#include <stddef.h>

// What a row says of the gateway's health.
enum class State : unsigned char {
    fact,    // nothing to be judged
    good,    // as it should be
    wrong,   // the gateway is degraded; the row says why
    unknown, // it could not be found out; the row says why
};

// All texts are printable ASCII: other bytes, and the backslash, stand as \xNN, because values come from the store,
// from the line and from files that others write.
struct Row {
    const char* section = "";
    const char* name = "";
    const char* item = ""; // which one, where a section has several rows of one name
    const char* value = "";
    const char* why = "";
    const char* help = ""; // a command that may put a wrong row right
    State state = State::fact;
    bool has_seconds = false;
    long long seconds = 0; // `value` as a number, where it is a time
};

enum class Health : unsigned char { healthy = 0, degraded = 1, unknown = 2 }; // the values are the exit status

class Report {
public:
    // The row that was added last, to be completed.
    class Added {
    public:
        Added(Report& report, Row& row) : report_(report), row_(row) {}
        Added& item(const char* text);
        Added& seconds(long long value);
        Added& good();
        [[gnu::format(printf, 2, 3)]] Added& wrong(const char* format, ...);
        [[gnu::format(printf, 2, 3)]] Added& unknown(const char* format, ...);
        Added& help(const char* command);

    private:
        [[gnu::format(printf, 3, 0)]] void judge(State state, const char* format, va_list values);

        Report& report_;
        Row& row_;
    };

    void clear();

    // From now on until clear no row gets a help: what is wrong may be so only for now.
    void withhold_helps() { withholds_helps_ = true; }

    // Rows that follow belong to this section; `name` must stay valid.
    void section(const char* name) { section_ = name; }

    // Adds a row. `name` must stay valid. When there is no room for it the report says so and cannot be healthy.
    [[gnu::format(printf, 3, 4)]] Added add(const char* name, const char* format, ...);

    // Adds the row "more" for what is not listed: `count` of `what`, nothing when that is 0. It makes the report
    // incomplete.
    void add_more(const char* what, int count);

    size_t size() const { return count_; }
    const Row& row(size_t index) const { return rows_[index]; }
    bool is_full() const { return full_; }
    bool is_complete() const { return !full_ && !shortened_; }

    // unknown when anything that matters could not be found out, degraded when something is wrong.
    Health health() const;

private:
    const char* keep(const char* text);

    static constexpr size_t capacity = 512;
    static constexpr size_t text_capacity = 128 * 1024;

    const char* section_ = "";
    size_t count_ = 0;
    size_t used_ = 0;
    bool full_ = false;
    bool shortened_ = false;
    bool withholds_helps_ = false;
    Row rows_[capacity];
    Row spare_; // takes what does not fit
    char texts_[text_capacity];
};
