#include "pair.h"

#include <limits>

namespace qx::manage {

std::optional<Pair> split_pair(const std::string& element, const char* separator) {
    constexpr unsigned long kNoLimit = std::numeric_limits<unsigned long>::max() - 1;
    const auto parts = qx::string_view(element.c_str()).split(separator, kNoLimit);
    if (parts.size() != 2) {
        return std::nullopt;
    }
    return Pair{parts[0], parts[1]};
}

} // namespace qx::manage
