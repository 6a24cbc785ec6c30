#include "velora/utils/ownership.h"

#include <sys/stat.h>
#include <unistd.h>

namespace MiscUtils {

bool ChownIfNeeded(const std::string& path, uid_t uid, gid_t gid, bool& changed) {
    changed = false;
    struct stat record = {};
    static_cast<void>(stat(path.c_str(), &record));  // a failed call leaves a record of no type
    if (!S_ISDIR(record.st_mode) && !S_ISREG(record.st_mode)) {
        return false;
    }
    if (record.st_uid == uid && record.st_gid == gid) {
        return true;
    }
    changed = chown(path.c_str(), uid, gid) == 0;
    return changed;
}

}  // namespace MiscUtils
