// How results reach standard output, and errors and warnings standard error. Main thread only; no
// call reports a failure of its own.
#pragma once

#include "qx/string_view.h"
#include "qx_plix.h"

#include <cstddef>
#include <fmt/format.h>
#include <jansson.h>

namespace qx::manage {

/// A text of results.
using OutputText = fmt::basic_memory_buffer<char, 500>;

/// Appends a JSON document as it is printed: one line, or several indented by 4 when standard
/// output is a terminal. Appends nothing for null or for a value that cannot be serialised. The
/// caller keeps the value, and says how long the text is going to be, as far as it knows, so that
/// room for it is made once. Throws std::bad_alloc.
void append_json(OutputText& text, const json_t* value, std::size_t expected_size);

/// Prints a JSON document (an object or an array). Prints nothing for any other text, or for null.
void print_output(const char* text);

/// Prints a one-member object with `key`, or "key: value" when standard output is a terminal.
void print_bool_output(bool value, const char* key);

/// Prints the record as a block of four lines on standard error.
void print_error(const qx_plix_error_t& err);

/// Prints the usage on standard output and the last-error record on standard error.
void print_usage();

/// Prints a warning as a block of two lines on standard error.
void print_warning(qx::string_view message);

} // namespace qx::manage
