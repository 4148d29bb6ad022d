#include "platform/config_store.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string_view>

#include "overlay.h"
#include "snapshot.h"
#include "store_file.h"
#include "store_message.h"
#include "store_writer.h"

namespace {

constexpr int max_transactions = 4;
constexpr size_t long_capacity = 24;

struct Transaction {
    bool is_open = false;
    Overlay overlay;
};

// One reading side for all transactions of the process.
struct Store {
    int users = 0;
    Snapshot snapshot;
    Transaction transactions[max_transactions];
};

constinit Store store;

Transaction* transaction_of(int tid)
{
    if (tid < 1 || tid > max_transactions || !store.transactions[tid - 1].is_open)
        return nullptr;
    return &store.transactions[tid - 1];
}

std::string_view text_of(const char* text)
{
    return text != nullptr ? std::string_view(text) : std::string_view();
}

// Finds the value as the transaction sees it; it is valid until the next call of the store.
bool read_value(int tid, const char* sect, const char* key, std::string_view& value)
{
    const Transaction* const transaction = transaction_of(tid);
    SettingName name;
    if (transaction == nullptr || !name.assign(text_of(key), text_of(sect)))
        return false;
    if (const TouchedSetting* const touched = transaction->overlay.find(name)) {
        value = touched->value();
        return !touched->is_removed;
    }
    store.snapshot.refresh(store_path()); // when the newest state cannot be had, the last one counts
    return store.snapshot.find(name.record(), value);
}

bool differs(const TouchedSetting& touched)
{
    std::string_view stored;
    const bool exists = store.snapshot.find(touched.name.record(), stored);
    return touched.is_removed ? exists : !exists || stored != touched.value();
}

// Checks what every change of a key needs. Returns the transaction, or null after a message.
Transaction* prepare_change(int tid, const char* what, const char* sect, const char* key, SettingName& name)
{
    Transaction* const transaction = transaction_of(tid);
    const char* fault = nullptr;
    if (transaction == nullptr)
        fault = "there is no such transaction";
    else if (!name.assign(text_of(key), text_of(sect)))
        fault = name_fault;
    if (fault == nullptr)
        return transaction;
    char shown_key[2 * max_name_part];
    snprintf(shown_key, sizeof shown_key, "%s", printable(text_of(key)));
    store_message("cannot %s %s@%s: %s", what, shown_key, printable(text_of(sect)), fault);
    return nullptr;
}

int finish_change(bool has_room, const char* what, const SettingName& name)
{
    if (has_room)
        return 0;
    store_message("cannot %s %s: the transaction has touched %zu other keys already", what, printable(name.shown()),
                  overlay_capacity);
    return -1;
}

} // namespace

int tesa_start_transc(void)
{
    int tid = 1;
    while (transaction_of(tid) != nullptr)
        ++tid;
    if (tid > max_transactions) {
        store_message("the process has %d open transactions already", max_transactions);
        return -1;
    }
    if (!create_missing_store(store_path()) || !store.snapshot.refresh(store_path()))
        return -1;
    ++store.users;
    store.transactions[tid - 1].is_open = true;
    return tid;
}

int tesa_end_transc(int tid)
{
    Transaction* const transaction = transaction_of(tid);
    if (transaction == nullptr)
        return -1;
    transaction->overlay.clear();
    transaction->is_open = false;
    if (--store.users == 0)
        store.snapshot.clear();
    return 0;
}

int tesa_ccfg_get_str(int tid, const char* sect, const char* key, char* buf, int size, const char* def)
{
    std::string_view value;
    const bool exists = read_value(tid, sect, key, value);
    if (!exists)
        value = text_of(def);
    if (buf != nullptr && size > 0) {
        const size_t room = static_cast<size_t>(size) - 1;
        const size_t copied = value.size() < room ? value.size() : room;
        if (copied > 0)
            memmove(buf, value.data(), copied); // the default may be the buffer itself
        buf[copied] = '\0';
    }
    return exists ? 0 : -1;
}

long tesa_ccfg_get_long(int tid, const char* sect, const char* key, long def)
{
    char text[max_value + 1];
    if (tesa_ccfg_get_str(tid, sect, key, text, sizeof text, nullptr) != 0)
        return def;
    return strtol(text, nullptr, 10);
}

int tesa_ccfg_set_str(int tid, const char* sect, const char* key, const char* value)
{
    SettingName name;
    Transaction* const transaction = prepare_change(tid, "set", sect, key, name);
    if (transaction == nullptr)
        return -1;
    const char* const fault = value == nullptr ? "there is no value" : value_fault(value);
    if (fault != nullptr) {
        store_message("cannot set %s: %s", printable(name.shown()), fault);
        return -1;
    }
    return finish_change(transaction->overlay.set(name, value), "set", name);
}

int tesa_ccfg_set_long(int tid, const char* sect, const char* key, long value)
{
    char text[long_capacity];
    snprintf(text, sizeof text, "%ld", value);
    return tesa_ccfg_set_str(tid, sect, key, text);
}

int tesa_ccfg_cmp_str(int tid, const char* sect, const char* key, const char* text)
{
    std::string_view value;
    if (!read_value(tid, sect, key, value))
        value = {};
    return value.compare(text_of(text));
}

int tesa_ccfg_unset(int tid, const char* sect, const char* key)
{
    SettingName name;
    Transaction* const transaction = prepare_change(tid, "unset", sect, key, name);
    if (transaction == nullptr)
        return -1;
    return finish_change(transaction->overlay.unset(name), "unset", name);
}

int tesa_ccfg_commit(int tid, int, int)
{
    Transaction* const transaction = transaction_of(tid);
    if (transaction == nullptr)
        return -1;
    Overlay& overlay = transaction->overlay;
    if (overlay.touched().empty())
        return 0;
    const char* const path = store_path();
    if (!store.snapshot.is_newest(path) && (!create_missing_store(path) || !store.snapshot.refresh(path)))
        return -1;
    bool any = false;
    for (const TouchedSetting& touched : overlay.touched())
        any = any || differs(touched);
    if (any) {
        StoreWriter writer;
        if (!writer.begin(path, Damaged::refuse, &store.snapshot))
            return -1;
        for (const TouchedSetting& touched : overlay.touched()) {
            if (!(touched.is_removed ? writer.remove(touched.name) : writer.put(touched.name, touched.value())))
                return -1;
        }
        if (!writer.commit())
            return -1;
    }
    overlay.clear();
    return 0;
}
