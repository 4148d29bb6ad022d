#include "snapshot.h"

#include <errno.h>

#include "settings_text.h"
#include "store_message.h"

// Who gives another file the store's name takes the last name from this one, who gives this one another name changes
// its status: either shows at the descriptor, without a walk along the path. A file with a second name keeps one either
// way.
bool Snapshot::is_newest(const char* path)
{
    if (was_recognized_ && copy_.is_untouched())
        return true;
    struct stat file;
    was_recognized_ = !copy_.is_empty() && stat(path, &file) == 0 && copy_.recognize(file);
    return was_recognized_;
}

bool Snapshot::refresh(const char* path)
{
    if (is_newest(path))
        return true;
    struct stat file;
    if (stat(path, &file) != 0)
        file = {};
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
