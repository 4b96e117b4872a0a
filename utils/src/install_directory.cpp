#include "install_directory.h"

#include "qxpath.h"

namespace qx {

// A function's static, not a namespace's: paths are also built before main, from other files.
const std::string& install_directory() {
    static const std::string directory = [] {
        const char* const found = qxpath_default_install_path();
        return std::string(found == nullptr ? "/opt/norvane" : found);
    }();
    return directory;
}

bool is_agents_user(uid_t uid) {
    uid_t agent = 0;
    return qxpath_agent_uid(&agent) == 0 && agent == uid;
}

} // namespace qx
