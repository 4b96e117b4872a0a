// The generated part of the tool's manual page.
#pragma once

#include "vocabulary.h"

#include <string>
#include <vector>

namespace qx::docgen {

/// Returns an mdoc list of the operations, each with its options.
std::string tool_operations(const std::vector<Operation>& operations);

} // namespace qx::docgen
