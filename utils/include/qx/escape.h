// Escaping of untrusted text. Without it, a terminal would obey the control characters. Safe to
// call from any thread.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <string>

namespace qx {

/// Appends to `out` the UTF-8 character that begins at index `at` of `text`, or one byte if none
/// begins there. `at` must be less than the size of `text`. Escapes each byte of a control,
/// invisible, direction-changing or invalid character as in "\x1b". Returns the number of bytes
/// taken from `text`. Throws std::bad_alloc if memory runs out.
std::size_t append_shown(std::string& out, string_view text, std::size_t at);

/// Returns a copy of `text` in which every character is escaped in the same way if necessary.
/// Throws std::bad_alloc if memory runs out.
std::string shown(string_view text);

/// Returns whether `text` contains only printable ASCII characters and therefore needs no escaping.
bool is_printable_ascii(string_view text);

} // namespace qx
