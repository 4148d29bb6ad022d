#include "store_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "settings_import.h"
#include "store_lock.h"
#include "store_message.h"
#include "store_writer.h"

namespace {

constexpr char default_path[] = "/etc/config/ccfg.db";
constexpr char factory_name[] = "ccfg.factory";
constexpr char unfinished_suffix[] = ".new";
constexpr size_t path_capacity = 4096;
constexpr size_t map_size = size_t{16} << 20; // address space, not memory and not disk
constexpr mode_t file_mode = 0600;

struct PathText {
    char text[path_capacity];
};

// True when there is no file, or an empty one, which has no settings to lose. Anything else is left alone.
bool is_missing(const char* path)
{
    struct stat file;
    if (stat(path, &file) != 0)
        return errno == ENOENT;
    return S_ISREG(file.st_mode) && file.st_size == 0;
}

bool is_same_file(int fd, const char* path)
{
    struct stat by_fd;
    struct stat by_path;
    return fstat(fd, &by_fd) == 0 && lstat(path, &by_path) == 0 && by_fd.st_dev == by_path.st_dev
           && by_fd.st_ino == by_path.st_ino;
}

// Path of `name` in the folder of `path`.
bool compose_sibling(const char* path, const char* name, PathText& sibling)
{
    const char* const slash = strrchr(path, '/');
    const int folder_size = slash != nullptr ? static_cast<int>(slash - path) + 1 : 0;
    const int size = snprintf(sibling.text, sizeof sibling.text, "%.*s%s", folder_size, path, name);
    return size >= 0 && static_cast<size_t>(size) < sizeof sibling.text;
}

bool sync_folder(const char* path)
{
    PathText folder;
    if (!compose_sibling(path, ".", folder))
        return false;
    const int fd = open(folder.text, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool synced = fsync(fd) == 0 || errno == EINVAL;
    close(fd);
    return synced;
}

bool put_factory_settings(const char* path, StoreWriter& writer)
{
    PathText factory;
    if (!compose_sibling(path, factory_name, factory))
        return true;
    const int fd = open(factory.text, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT)
            return true;
        store_message("%s: cannot be read: %s", factory.text, strerror(errno));
        return false;
    }
    const bool put = import_settings(fd, factory.text, &writer);
    close(fd);
    return put;
}

// Fills the file `unfinished`, which `fd` has open and nobody else uses, and gives it the name `path`.
bool build_store(const char* path, const char* unfinished, int fd)
{
    if (ftruncate(fd, 0) != 0) {
        store_message("%s: cannot be created: %s", path, strerror(errno));
        return false;
    }
    StoreWriter writer;
    if (!writer.begin_new(unfinished) || !put_factory_settings(path, writer) || !writer.commit())
        return false;
    if (rename(unfinished, path) != 0 || !sync_folder(path)) {
        store_message("%s: cannot be created: %s", path, strerror(errno));
        return false;
    }
    return true;
}

} // namespace

const char* store_path()
{
    const char* const chosen = getenv("TESA_STORE");
    return chosen != nullptr && chosen[0] != '\0' ? chosen : default_path;
}

const char* store_error(int error)
{
    switch (error) {
    case MDB_INVALID:
    case MDB_VERSION_MISMATCH:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
        return "is damaged or is not a settings store; it is left as it is";
    case MDB_MAP_FULL:
        return "is full";
    default:
        return mdb_strerror(error);
    }
}

int open_store_env(const char* path, unsigned int flags, MDB_env*& env)
{
    env = nullptr;
    int error = mdb_env_create(&env);
    if (error != 0)
        return error;
    error = mdb_env_set_mapsize(env, map_size);
    if (error == 0)
        error = mdb_env_open(env, path, flags | MDB_NOSUBDIR | MDB_NOLOCK, file_mode);
    int fd;
    if (error == 0)
        error = mdb_env_get_fd(env, &fd);
    // LMDB leaves this descriptor open to every program that is started, and with it the locks.
    if (error == 0 && fcntl(fd, F_SETFD, FD_CLOEXEC) != 0)
        error = errno;
    if (error != 0) {
        mdb_env_close(env);
        env = nullptr;
    }
    return error;
}

size_t newest_state(MDB_env* env)
{
    MDB_envinfo info;
    mdb_env_info(env, &info);
    return info.me_last_txnid;
}

bool is_whole(MDB_env* env)
{
    MDB_envinfo info;
    MDB_stat sizes;
    int fd;
    struct stat file;
    if (mdb_env_info(env, &info) != 0 || mdb_env_stat(env, &sizes) != 0 || mdb_env_get_fd(env, &fd) != 0
        || fstat(fd, &file) != 0)
        return false;
    return info.me_last_pgno < static_cast<unsigned long long>(file.st_size) / sizes.ms_psize;
}

bool create_missing_store(const char* path)
{
    PathText unfinished;
    const int size = snprintf(unfinished.text, sizeof unfinished.text, "%s%s", path, unfinished_suffix);
    if (size < 0 || static_cast<size_t>(size) >= sizeof unfinished.text) {
        store_message("%s: the path is too long", path);
        return false;
    }
    while (is_missing(path)) {
        const int fd = open(unfinished.text, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, file_mode);
        if (fd < 0 || !lock_writer(fd)) {
            store_message("%s: cannot be created: %s", path, strerror(errno));
            if (fd >= 0)
                close(fd);
            return false;
        }
        // Who had the lock before may have finished, or given up, the file that has just been locked.
        const bool is_own = is_same_file(fd, unfinished.text);
        const bool is_needed = is_missing(path);
        const bool built = is_own && is_needed && build_store(path, unfinished.text, fd);
        if (is_own && !built)
            unlink(unfinished.text);
        close(fd);
        if (is_own && is_needed && !built)
            return false;
    }
    return true;
}

MDB_env* open_store()
{
    const char* const path = store_path();
    MDB_env* env;
    int error = open_store_env(path, MDB_RDONLY, env);
    if (error != 0) {
        // Another process may have created it by now; then this only opens it once more.
        if (!create_missing_store(path))
            return nullptr;
        error = open_store_env(path, MDB_RDONLY, env);
    }
    if (error != 0) {
        store_message("%s: %s", path, store_error(error));
        return nullptr;
    }
    return env;
}
