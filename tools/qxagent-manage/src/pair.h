// Elements of list options that have two parts: key=value or name:type.
#pragma once

#include "qx/string_view.h"

#include <optional>
#include <string>

namespace qx::manage {

/// The two parts of an element, as views into it.
struct Pair {
    qx::string_view first;
    qx::string_view second;
};

/// Splits `element` at `separator`. Returns nullopt unless `separator` occurs exactly once. Either
/// part may be empty.
std::optional<Pair> split_pair(const std::string& element, const char* separator);

} // namespace qx::manage
