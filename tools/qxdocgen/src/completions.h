// What the completions are filled with. One script in sh prints the words for every shell.
#pragma once

#include "vocabulary.h"

#include <map>
#include <string>
#include <vector>

namespace qx::docgen {

/// The marks of the script and what replaces them. Throws std::runtime_error when options of one
/// name take different values, because the script looks values up by name.
std::map<std::string, std::string, std::less<>>
script_marks(const std::vector<Operation>& operations);

/// The text as one word of bash, zsh and sh.
std::string posix_quoted(const std::string& text);

/// The text as one word of fish.
std::string fish_quoted(const std::string& text);

} // namespace qx::docgen
