#include "snapshot.h"

#include <errno.h>
#include <string.h>
#include <sys/mman.h>

#include "setting_name.h"
#include "store_file.h"
#include "store_lock.h"
#include "store_message.h"
#include "text_parts.h"

namespace {

struct Entry {
    uint32_t offset;
    uint16_t record_size;
    uint16_t value_size;
};

// Marks the newest state of the store, so that no writer overwrites its pages, for as long as the object lives.
class StateMark {
public:
    explicit StateMark(MDB_env* env)
    {
        mdb_env_get_fd(env, &fd_);
        number_ = newest_state(env);
        while (mark_state(fd_, number_)) {
            // Two commits may have gone by between the look and the mark; then the mark came too late. The second look
            // also comes after all of a commit whose number the first one has seen: the number is its last word.
            const size_t now = newest_state(env);
            if (now == number_) {
                holds_ = true;
                return;
            }
            unmark_state(fd_, number_);
            number_ = now;
        }
    }

    ~StateMark()
    {
        if (holds_)
            unmark_state(fd_, number_);
    }

    StateMark(const StateMark&) = delete;
    StateMark& operator=(const StateMark&) = delete;

    bool holds() const { return holds_; }
    size_t number() const { return number_; }

private:
    int fd_ = -1;
    size_t number_ = 0;
    bool holds_ = false;
};

bool is_setting(const MDB_val& record, const MDB_val& value)
{
    const std::string_view text(static_cast<const char*>(record.mv_data), record.mv_size);
    SettingName name;
    return value.mv_size <= max_value && !text.empty() && text.back() == '='
           && parse_name(first_part(text, text.size() - 1), name) == nullptr;
}

} // namespace

bool Snapshot::refresh(MDB_env* env)
{
    if (valid_ && newest_state(env) == state_)
        return true;
    int error;
    {
        const StateMark mark(env);
        MDB_txn* txn = nullptr;
        error = !mark.holds() ? errno : is_whole(env) ? mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) : MDB_CORRUPTED;
        if (error == 0) {
            error = copy(txn);
            mdb_txn_abort(txn);
        }
        state_ = mark.number();
    }
    valid_ = error == 0;
    if (!valid_) {
        clear();
        store_message("%s: %s", store_path(), store_error(error));
    }
    return valid_;
}

int Snapshot::copy(MDB_txn* txn)
{
    clear();
    MDB_dbi table;
    MDB_stat sizes;
    MDB_cursor* cursor = nullptr;
    int error = mdb_dbi_open(txn, nullptr, 0, &table);
    if (error == 0)
        error = mdb_stat(txn, table, &sizes);
    if (error != 0)
        return error;
    if (sizes.ms_entries == 0)
        return 0;
    const size_t page_bytes = (sizes.ms_leaf_pages + sizes.ms_overflow_pages) * sizes.ms_psize;
    if (sizes.ms_entries > page_bytes || page_bytes > UINT32_MAX / 16)
        return MDB_CORRUPTED;
    const size_t index_size = sizes.ms_entries * sizeof(Entry);
    const size_t wanted = index_size + page_bytes;
    void* const area = mmap(nullptr, wanted, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (area == MAP_FAILED)
        return errno;
    area_ = static_cast<char*>(area);
    area_size_ = wanted;

    error = mdb_cursor_open(txn, table, &cursor);
    if (error != 0)
        return error;
    size_t offset = index_size;
    MDB_val record;
    MDB_val value;
    while ((error = mdb_cursor_get(cursor, &record, &value, MDB_NEXT)) == 0) {
        const size_t size = record.mv_size + value.mv_size;
        if (count_ == sizes.ms_entries || !is_setting(record, value) || size > area_size_ - offset) {
            error = MDB_CORRUPTED;
            break;
        }
        const Entry entry = {static_cast<uint32_t>(offset), static_cast<uint16_t>(record.mv_size),
                             static_cast<uint16_t>(value.mv_size)};
        memcpy(area_ + count_ * sizeof entry, &entry, sizeof entry);
        memcpy(area_ + offset, record.mv_data, record.mv_size);
        if (value.mv_size > 0)
            memcpy(area_ + offset + record.mv_size, value.mv_data, value.mv_size);
        offset += size;
        ++count_;
    }
    mdb_cursor_close(cursor);
    return error == MDB_NOTFOUND ? 0 : error;
}

StoredSetting Snapshot::at(size_t index) const
{
    Entry entry;
    memcpy(&entry, area_ + index * sizeof entry, sizeof entry);
    const char* const text = area_ + entry.offset;
    return {{text, entry.record_size}, {text + entry.record_size, entry.value_size}};
}

bool Snapshot::find(std::string_view record, std::string_view& value) const
{
    size_t low = 0;
    size_t high = count_;
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        const StoredSetting setting = at(middle);
        const int order = setting.record.compare(record);
        if (order == 0) {
            value = setting.value;
            return true;
        }
        if (order < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return false;
}

void Snapshot::clear()
{
    if (area_ != nullptr)
        munmap(area_, area_size_);
    area_ = nullptr;
    area_size_ = 0;
    count_ = 0;
    valid_ = false;
}
