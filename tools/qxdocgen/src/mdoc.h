// Texts in the markup of manual pages.
#pragma once

#include <string>

namespace qx::docgen {

/// A paragraph: escaped, each sentence on lines of its own, words between backquotes and the names
/// of functions marked up. Ends with a line feed.
std::string mdoc_paragraph(const std::string& text);

/// Lines that are shown as they are.
std::string mdoc_literal(const std::string& text);

} // namespace qx::docgen
