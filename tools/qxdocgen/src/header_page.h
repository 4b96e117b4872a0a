// The generated part of the library's manual page.
#pragma once

#include <string>

namespace qx::docgen {

/// Returns the header's first comment, then each section: the declarations, each followed by its
/// comment.
std::string header_page(const std::string& header);

} // namespace qx::docgen
