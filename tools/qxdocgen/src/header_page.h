// The generated part of the library's manual page.
#pragma once

#include <string>

namespace qx::docgen {

/// Converts the text of a C header to mdoc. The page starts with the header's first comment. Each
/// declaration is followed by its comment.
std::string header_page(const std::string& header);

} // namespace qx::docgen
