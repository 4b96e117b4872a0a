// Escapes foreign text for terminals, which would obey its control characters.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <string>

namespace qx {

/// Appends the UTF-8 character at `at`, or one byte if that is no valid character. Control,
/// invisible and direction-changing characters and invalid bytes are escaped byte by byte, as in
/// "\x1b". Returns how many bytes of `text` were consumed.
std::size_t append_shown(std::string& out, string_view text, std::size_t at);

/// Escapes the whole text like append_shown.
std::string shown(string_view text);

/// Whether the text is printable ASCII only and so needs no escaping.
bool is_printable_ascii(string_view text);

} // namespace qx
