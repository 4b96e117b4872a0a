// Writing parsed JSON values, byte for byte as jansson writes them and faster: jansson searches
// each value for loops and for invalid UTF-8, which its parser does not produce.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <fmt/format.h>
#include <jansson.h>

namespace qx::manage {

/// A text of results.
using OutputText = fmt::basic_memory_buffer<char, 500>;

/// Appends values to a text: on one line, or indented by 4 for a terminal, where DEL and the C1
/// control characters are escaped too. Use one writer per document. Members throw std::bad_alloc.
class JsonWriter {
public:
    JsonWriter(OutputText& text, bool for_terminal)
        : text_(text)
        , for_terminal_(for_terminal) {}

    void value(json_t* value);
    /// An object of the event's name and its data.
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
