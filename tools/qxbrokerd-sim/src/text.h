// Helpers for text.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace qx::sim {

inline std::string concat(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) {
        text.append(part);
    }
    return text;
}

/// Returns the value of a hexadecimal digit, or nullopt for any other character.
inline std::optional<unsigned> hex_value(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    const char small = static_cast<char>(c | 0x20);
    if (small >= 'a' && small <= 'f') {
        return static_cast<unsigned>(small - 'a' + 10);
    }
    return std::nullopt;
}

} // namespace qx::sim
