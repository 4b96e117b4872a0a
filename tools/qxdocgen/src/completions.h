// What the completions of the shells are filled with.
#pragma once

#include "vocabulary.h"

#include <string>
#include <vector>

namespace qx::docgen {

/// The cases of a `case` over what has been typed ("", "OPERATION" or "OPERATION --OPTION"), each
/// of which sets `words` and, for a list, `separator`.
std::string bash_cases(const std::vector<Operation>& operations);

/// The switches, as a pattern of a `case`.
std::string bash_switches(const std::vector<Operation>& operations);

/// The operations with their help texts, one a line, for _describe.
std::string zsh_operations(const std::vector<Operation>& operations);

/// The cases of a `case` over the operation, with the arguments of _arguments.
std::string zsh_cases(const std::vector<Operation>& operations);

/// The `complete` commands.
std::string fish_commands(const std::vector<Operation>& operations);

} // namespace qx::docgen
