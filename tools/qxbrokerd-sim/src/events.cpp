#include "events.h"

#include <algorithm>

namespace qx::sim {

std::optional<EventType> event_type(std::string_view name) {
    constexpr std::string_view prefix = "QX_PLIX_";
    std::string wanted(name);
    if (name.substr(0, prefix.size()) == prefix) {
        wanted.erase(0, prefix.size());
        for (char& c : wanted) {
            if (c >= 'a' && c <= 'z') {
                return std::nullopt;
            }
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        }
    }
    const auto* const found = std::find(kEventNames.begin(), kEventNames.end(), wanted);
    if (found == kEventNames.end()) {
        return std::nullopt;
    }
    return static_cast<EventType>(found - kEventNames.begin());
}

std::string_view event_name(EventType type) {
    return kEventNames[static_cast<std::size_t>(type)];
}

} // namespace qx::sim
