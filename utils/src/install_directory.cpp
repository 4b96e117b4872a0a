#include "install_directory.h"

#include "base/install.h"
#include "qxpath.h"

#include <sys/stat.h>
#include <unistd.h>

namespace qx {
namespace {

// The kernel shows this id for users without a mapping in this user namespace.
constexpr uid_t kUnmapped = 65534;

bool owns_install_directory(uid_t uid) {
    struct stat status {};
    return ::stat(install_directory().c_str(), &status) == 0 && status.st_uid == uid;
}

} // namespace

// A function's static, not a namespace's: paths are also built before main, from other files.
const std::string& install_directory() {
    static const std::string directory = [] {
        const char* const found = qxpath_default_install_path();
        return std::string(found == nullptr ? QX_INSTALL_DIRECTORY : found);
    }();
    return directory;
}

bool is_trusted_user(uid_t uid) {
    if (uid == 0 || uid == ::geteuid()) {
        return true;
    }
    return uid != kUnmapped && (owns_install_directory(uid) || qxpath_is_agents_user(uid) != 0);
}

} // namespace qx
