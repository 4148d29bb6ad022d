#include "snapshot.h"

#include <errno.h>

#include "settings_text.h"
#include "store_message.h"

bool Snapshot::refresh(const char* path)
{
    struct stat file;
    if (stat(path, &file) != 0)
        file = {};
    else if (copy_.is_of(file))
        return true;
    if (!copy_.is_empty() && is_same_file(file, refused_))
        return false;
    StoreCopy newer;
    const int error = newer.read(path);
    if (error != 0) {
        refused_ = file;
        store_message("%s: %s", path, store_error(error));
        return false;
    }
    copy_.release();
    copy_ = newer;
    refused_ = {};
    return true;
}

bool Snapshot::find(std::string_view record, std::string_view& value) const
{
    return find_setting(copy_.settings(), record, value);
}

void Snapshot::clear()
{
    copy_.release();
    refused_ = {};
}
