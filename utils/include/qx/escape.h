// Texts of others on a terminal, which would take their control characters for commands.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <string>

namespace qx {

/// Appends the UTF-8 character that begins at `at`, or the byte there that begins none. One that
/// cannot be seen, or that changes line or direction, is written as its bytes: "\x1b". Returns how
/// many bytes of `text` that took.
std::size_t append_shown(std::string& out, string_view text, std::size_t at);

/// The whole text in this way.
std::string shown(string_view text);

/// Whether the text is printable ASCII alone, and so shown as it is.
bool is_printable_ascii(string_view text);

/// JSON with the control characters that it allows in its texts (DEL and C1) as "\u009B".
std::string shown_json(string_view document);

} // namespace qx
