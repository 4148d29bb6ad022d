#include "store_writer.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "settings_import.h"
#include "settings_text.h"
#include "store_format.h"
#include "store_message.h"
#include "text_parts.h"

namespace {

constexpr char factory_name[] = "ccfg.factory";
constexpr int kept_damaged_stores = 9;

struct ChangeHead {
    uint16_t record_size;
    uint16_t value_size;
    bool is_removed;
};

char* append(char* to, std::string_view text)
{
    if (!text.empty())
        memcpy(to, text.data(), text.size());
    return to + text.size();
}

char* append_setting(char* to, std::string_view record, std::string_view value)
{
    to = append(append(to, record), value);
    *to++ = '\n';
    return to;
}

} // namespace

struct StoreWriter::Change {
    std::string_view record;
    std::string_view value;
    bool is_removed;
};

bool StoreWriter::fail(int error)
{
    store_message("%s: cannot be changed: %s", path_, store_error(error));
    abort();
    return false;
}

bool StoreWriter::begin(const char* path, Damaged damaged, Snapshot* known)
{
    path_ = path;
    int error = unfinished_.open(path);
    if (error != 0) {
        struct stat file;
        const bool is_missing = stat(path, &file) != 0 && errno == ENOENT;
        store_message("%s: cannot be %s: %s", path, is_missing ? "created" : "changed", store_error(error));
        abort();
        return false;
    }
    if (known != nullptr && known->is_newest(path))
        stored_ = &known->copy();
    else
        error = own_copy_.read(path);
    creates_ = error == ENOENT;
    replaces_damaged_ = damaged == Damaged::replace && (error == damaged_store || error == EIO);
    if (creates_ || replaces_damaged_)
        return put_factory_settings();
    if (error != 0) {
        store_message("%s: %s", path, store_error(error));
        abort();
        return false;
    }
    return access(path, W_OK) == 0 || fail(errno);
}

bool StoreWriter::put_factory_settings()
{
    char factory[path_capacity];
    const char* const target = unfinished_.target();
    const char* const slash = strrchr(target, '/');
    const int folder_size = slash != nullptr ? static_cast<int>(slash - target) + 1 : 0;
    const int size = snprintf(factory, sizeof factory, "%.*s%s", folder_size, target, factory_name);
    if (size < 0 || static_cast<size_t>(size) >= sizeof factory)
        return true; // there can be no such file
    const int fd = open(factory, O_RDONLY | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT)
        return true;
    if (fd < 0)
        store_message("%s: cannot be read: %s", factory, strerror(errno));
    const bool put = fd >= 0 && import_settings(fd, factory, this);
    if (fd >= 0)
        close(fd);
    if (!put)
        abort();
    return put;
}

StoreWriter::Change StoreWriter::change_at(size_t index) const
{
    size_t offset;
    memcpy(&offset, index_.data() + index * sizeof offset, sizeof offset);
    ChangeHead head;
    memcpy(&head, changes_.data() + offset, sizeof head);
    const char* const record = changes_.data() + offset + sizeof head;
    return {{record, head.record_size}, {record + head.record_size, head.value_size}, head.is_removed};
}

size_t StoreWriter::place_of(std::string_view record, bool& is_known) const
{
    size_t low = 0;
    size_t high = count_;
    is_known = false;
    while (low < high && !is_known) {
        const size_t middle = low + (high - low) / 2;
        const int order = change_at(middle).record.compare(record);
        is_known = order == 0;
        if (is_known)
            return middle;
        if (order < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

bool StoreWriter::note(std::string_view record, std::string_view value, bool is_removed)
{
    const size_t offset = changes_size_;
    const ChangeHead head = {static_cast<uint16_t>(record.size()), static_cast<uint16_t>(value.size()), is_removed};
    const size_t size = sizeof head + record.size() + value.size();
    if (offset + size > 2 * store_capacity)
        return fail(full_store);
    if (!changes_.reserve(offset + size) || !index_.reserve((count_ + 1) * sizeof offset))
        return fail(errno);
    memcpy(changes_.data() + offset, &head, sizeof head);
    append(append(changes_.data() + offset + sizeof head, record), value);
    changes_size_ += size;

    bool is_known;
    char* const place = index_.data() + place_of(record, is_known) * sizeof offset;
    if (!is_known) {
        memmove(place + sizeof offset, place, static_cast<size_t>(index_.data() + count_ * sizeof offset - place));
        ++count_;
    }
    memcpy(place, &offset, sizeof offset);
    return true;
}

bool StoreWriter::put(const SettingName& name, std::string_view value)
{
    return note(name.record(), value, false);
}

bool StoreWriter::remove(const SettingName& name)
{
    return note(name.record(), {}, true);
}

// Gives the whole file that the store is to be, or an empty text when there is no memory for it.
std::string_view StoreWriter::merge(MemoryArea& area) const
{
    std::string_view rest = stored_->settings();
    if (!area.reserve(store_head_size + rest.size() + changes_size_ + count_))
        return {};
    char* const settings = area.data() + store_head_size;
    char* to = settings;
    for (size_t i = 0; i < count_; ++i) {
        const Change change = change_at(i);
        while (!rest.empty()) {
            std::string_view behind = rest;
            const StoredSetting stored = take_setting(behind);
            const int order = stored.record.compare(change.record);
            if (order > 0)
                break;
            rest = behind;
            if (order == 0)
                break;
            to = append_setting(to, stored.record, stored.value);
        }
        if (!change.is_removed)
            to = append_setting(to, change.record, change.value);
    }
    to = append(to, rest);
    write_store_head({settings, static_cast<size_t>(to - settings)}, area.data());
    return {area.data(), static_cast<size_t>(to - area.data())};
}

int StoreWriter::choose_name_for_damaged(char (&name)[path_capacity]) const
{
    struct stat damaged;
    if (stat(unfinished_.target(), &damaged) != 0)
        return errno;
    for (int number = 1; number <= kept_damaged_stores; ++number) {
        const int size = number == 1 ? snprintf(name, sizeof name, "%s.damaged", unfinished_.target())
                                     : snprintf(name, sizeof name, "%s.damaged.%d", unfinished_.target(), number);
        if (size < 0 || static_cast<size_t>(size) >= sizeof name)
            return ENAMETOOLONG;
        struct stat kept;
        if (lstat(name, &kept) != 0)
            return errno == ENOENT ? 0 : errno;
        if (!is_same_file(kept, damaged))
            continue;
        // A killed change has given it this name already.
        return unlink(name) == 0 ? 0 : errno;
    }
    return EEXIST;
}

bool StoreWriter::publish(std::string_view contents)
{
    char kept[path_capacity] = {};
    int error = replaces_damaged_ ? choose_name_for_damaged(kept) : 0;
    if (error == 0) {
        error = unfinished_.publish(contents, stored_->is_empty() ? nullptr : &stored_->file(),
                                    replaces_damaged_ ? kept : nullptr);
    }
    if (error != 0 && creates_) {
        store_message("%s: cannot be created: %s", path_, store_error(error));
        abort();
        return false;
    }
    if (error != 0)
        return fail(error);
    if (replaces_damaged_)
        store_warning("%s was damaged and is kept as %s; the new one began with the factory settings", path_, kept);
    return true;
}

bool StoreWriter::commit()
{
    MemoryArea area;
    const std::string_view contents = merge(area);
    bool done = true;
    if (contents.empty())
        done = fail(errno);
    else if (contents.size() > store_capacity)
        done = fail(full_store);
    else if (stored_->is_empty() || rest_after(contents, store_head_size) != stored_->settings())
        done = publish(contents);
    area.release();
    abort();
    return done;
}

void StoreWriter::abort()
{
    unfinished_.close();
    own_copy_.release();
    stored_ = &own_copy_;
    changes_.release();
    index_.release();
    creates_ = false;
    replaces_damaged_ = false;
    changes_size_ = 0;
    count_ = 0;
}

bool create_missing_store(const char* path)
{
    struct stat file;
    if (stat(path, &file) == 0 || errno != ENOENT)
        return true;
    StoreWriter writer;
    return writer.begin(path) && (!writer.creates() || writer.commit());
}
