// The generated part of the library's manual page.
#pragma once

#include <string>

namespace qx::docgen {

/// What the header's first comment says, and then each of its sections: the declarations, each
/// followed by its comment.
std::string header_page(const std::string& header);

} // namespace qx::docgen
