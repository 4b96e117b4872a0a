#include "install_directory.h"

#include "base/install.h"
#include "qxpath.h"

namespace qx {

// The static is local to the function because initialisers of other files build paths before main.
const std::string& install_directory() {
    static const std::string directory = [] {
        const char* const found = qxpath_default_install_path();
        return std::string(found == nullptr ? QX_INSTALL_DIRECTORY : found);
    }();
    return directory;
}

} // namespace qx
