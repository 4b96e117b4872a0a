// The elements of list options that consist of two parts: key=value, or name:type.
#pragma once

#include "qx/string_view.h"

#include <optional>
#include <string>

namespace qx::manage {

/// The two parts of an element; views into the element.
struct Pair {
    qx::string_view first;
    qx::string_view second;
};

/// Splits `element` at every `separator`; nothing unless that gives exactly two parts, either of
/// which may be empty.
std::optional<Pair> split_pair(const std::string& element, const char* separator);

} // namespace qx::manage
