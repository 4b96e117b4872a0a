// Escaping of untrusted text, whose control characters a terminal would obey. Safe to call from any
// thread.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <string>

namespace qx {

/// Appends to `out` the UTF-8 character of `text` at index `at`, or one byte if no valid character
/// begins there. Escapes control, invisible and direction-changing characters and invalid bytes,
/// byte by byte, as in "\x1b". Returns how many bytes of `text` were consumed.
std::size_t append_shown(std::string& out, string_view text, std::size_t at);

/// Returns `text`, escaped in the same way.
std::string shown(string_view text);

/// Returns whether `text` contains only printable ASCII and therefore needs no escaping.
bool is_printable_ascii(string_view text);

} // namespace qx
