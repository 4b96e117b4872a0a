// The generated part of the manual page of qxagent-manage.
#pragma once

#include "vocabulary.h"

#include <string>
#include <vector>

namespace qx::docgen {

/// Returns an mdoc list of the operations, each with its options.
std::string tool_operations(const std::vector<Operation>& operations);

} // namespace qx::docgen
