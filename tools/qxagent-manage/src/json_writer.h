// Serialises parsed JSON values to the same bytes as jansson, but faster. jansson checks each value
// for loops and invalid UTF-8, but parsed values contain neither.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <fmt/format.h>
#include <jansson.h>

namespace qx::manage {

/// A buffer for output. Short output needs no allocation.
using OutputText = fmt::basic_memory_buffer<char, 500>;

/// Appends values to a buffer, on one line. For a terminal, it instead indents nested lines by 4
/// spaces and also escapes DEL and the C1 control characters. Use one writer per document. The
/// values must not be null and remain the caller's. Members throw std::bad_alloc.
class JsonWriter {
public:
    JsonWriter(OutputText& text, bool for_terminal)
        : text_(text)
        , for_terminal_(for_terminal) {}

    void value(json_t* value);
    /// Appends an object with the members "event_name" and "data".
    void event(string_view name, json_t* data);

private:
    void object(json_t* object);
    void array(const json_t* array);
    void key(string_view name);
    void string(string_view content);
    [[nodiscard]] bool is_plain(const char* at) const;
    void escape(unsigned char code);
    void scalar(const json_t* value);
    void open(char bracket);
    void close(char bracket);
    void next();
    [[nodiscard]] bool is_at_start() const;
    void new_line();
    void put(string_view text) { text_.append(text.begin(), text.end()); }

    OutputText& text_;
    const bool for_terminal_;
    int depth_ = 0;
};

} // namespace qx::manage
