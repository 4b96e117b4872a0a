#include "qx/constant_path.h"

#include "base/install.h"
#include "install_directory.h"

namespace qx {

std::string to_string(common_path directory) {
    switch (directory) {
    case common_path::programs:
        return install_directory() + QX_PROGRAM_DIRECTORY;
    case common_path::configuration:
        return install_directory() + QX_CONFIGURATION_DIRECTORY;
    }
    return {};
}

std::string constant_path::to_string() const {
    const std::string directory = qx::to_string(directory_);
    return directory.empty() ? text_ : directory + "/" + text_;
}

} // namespace qx
