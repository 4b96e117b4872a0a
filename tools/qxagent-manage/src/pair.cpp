#include "pair.h"

namespace qx::manage {

std::optional<Pair> split_pair(const std::string& element, const char* separator) {
    const auto parts = qx::string_view(element).split(separator);
    if (parts.size() != 2) {
        return std::nullopt;
    }
    return Pair{parts[0], parts[1]};
}

} // namespace qx::manage
