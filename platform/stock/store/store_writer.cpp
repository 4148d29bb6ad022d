#include "store_writer.h"

#include <errno.h>

#include "store_file.h"
#include "store_lock.h"
#include "store_message.h"

namespace {

MDB_val as_record(std::string_view text)
{
    return {text.size(), const_cast<char*>(text.data())};
}

} // namespace

bool StoreWriter::fail(int error)
{
    store_message("%s: cannot be changed: %s", path_, store_error(error));
    abort();
    return false;
}

bool StoreWriter::open_transaction()
{
    int error = mdb_txn_begin(env_, nullptr, 0, &txn_);
    if (error == 0)
        error = mdb_dbi_open(txn_, nullptr, 0, &table_);
    return error == 0 || fail(error);
}

bool StoreWriter::begin(const char* path)
{
    path_ = path;
    if (!create_missing_store(path))
        return false;
    int error = open_store_env(path, 0, env_);
    if (error != 0)
        return fail(error);
    int fd;
    mdb_env_get_fd(env_, &fd);
    if (!lock_writer(fd) || !await_old_readers(fd, newest_state(env_)))
        return fail(errno);
    if (!is_whole(env_))
        return fail(MDB_CORRUPTED);
    return open_transaction();
}

bool StoreWriter::begin_new(const char* path)
{
    path_ = path;
    is_new_ = true;
    const int error = open_store_env(path, 0, env_);
    return error == 0 ? open_transaction() : fail(error);
}

bool StoreWriter::put(const SettingName& name, std::string_view value)
{
    MDB_val record = as_record(name.record());
    MDB_val stored;
    int error = mdb_get(txn_, table_, &record, &stored);
    if (error == 0 && value == std::string_view(static_cast<const char*>(stored.mv_data), stored.mv_size))
        return true;
    if (error != 0 && error != MDB_NOTFOUND)
        return fail(error);
    MDB_val wanted = as_record(value);
    error = mdb_put(txn_, table_, &record, &wanted, 0);
    if (error != 0)
        return fail(error);
    differs_ = true;
    return true;
}

bool StoreWriter::remove(const SettingName& name)
{
    MDB_val record = as_record(name.record());
    const int error = mdb_del(txn_, table_, &record, nullptr);
    if (error == 0)
        differs_ = true;
    return error == 0 || error == MDB_NOTFOUND || fail(error);
}

bool StoreWriter::commit()
{
    int error = 0;
    if (differs_) {
        error = mdb_txn_commit(txn_);
        txn_ = nullptr;
    }
    if (error == 0 && is_new_)
        error = mdb_env_sync(env_, 1);
    if (error != 0)
        return fail(error);
    abort();
    return true;
}

void StoreWriter::abort()
{
    if (txn_ != nullptr)
        mdb_txn_abort(txn_);
    if (env_ != nullptr)
        mdb_env_close(env_);
    txn_ = nullptr;
    env_ = nullptr;
    differs_ = false;
    is_new_ = false;
}
