// Serialises parsed JSON values to the same bytes as jansson, but faster: jansson checks each value
// for loops and invalid UTF-8, which parsed values cannot contain.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <fmt/format.h>
#include <jansson.h>

namespace qx::manage {

/// A buffer for output. Short output needs no allocation.
using OutputText = fmt::basic_memory_buffer<char, 500>;

/// Appends values to a buffer: on one line, or, for a terminal, indented by 4 and with DEL and the
/// C1 control characters escaped too. Use one writer per document. Members borrow the values, which
/// must not be null, and throw std::bad_alloc.
class JsonWriter {
public:
    JsonWriter(OutputText& text, bool for_terminal)
        : text_(text)
        , for_terminal_(for_terminal) {}

    void value(json_t* value);
    /// Appends an object with the event's name and data.
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
