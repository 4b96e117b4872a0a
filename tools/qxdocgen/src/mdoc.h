// Text in mdoc, the markup of manual pages.
#pragma once

#include <string>

namespace qx::docgen {

/// Formats a paragraph: escapes it, begins a line after each sentence, and marks up function names
/// and words between backquotes. The result ends with a line feed.
std::string mdoc_paragraph(const std::string& text);

/// Formats lines as a literal block. The result does not end with a line feed.
std::string mdoc_literal(const std::string& text);

} // namespace qx::docgen
