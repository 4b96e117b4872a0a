// The generated parts of the completions. The completions of all shells run the same sh script.
#pragma once

#include "vocabulary.h"

#include <map>
#include <string>
#include <vector>

namespace qx::docgen {

/// Returns the script's marks and their replacements. Throws std::runtime_error if options of the
/// same name take different values, because the script looks values up by name.
std::map<std::string, std::string, std::less<>>
script_marks(const std::vector<Operation>& operations);

/// Quotes a text as one word of bash, zsh and sh.
std::string posix_quoted(const std::string& text);

/// Quotes a text as one word of fish.
std::string fish_quoted(const std::string& text);

} // namespace qx::docgen
