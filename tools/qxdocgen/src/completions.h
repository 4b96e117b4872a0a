// The generated parts of the shell completions. All shells run the same sh script.
#pragma once

#include "vocabulary.h"

#include <map>
#include <string>
#include <vector>

namespace qx::docgen {

/// Returns the replacement of each @MARK@ in the template of the sh script. Throws
/// std::runtime_error if options of the same name take different values, because the script looks
/// up values by option name.
std::map<std::string, std::string, std::less<>>
script_marks(const std::vector<Operation>& operations);

/// Quotes a text as one word of bash, zsh and sh.
std::string posix_quoted(const std::string& text);

/// Quotes a text as one word of fish.
std::string fish_quoted(const std::string& text);

} // namespace qx::docgen
