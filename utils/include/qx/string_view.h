// A text that somebody else owns.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace qx {

/// The character operations of the utility layer: those of the standard library.
template <typename Char>
struct char_traits : std::char_traits<Char> {};

/// A length and a pointer to the first character; the text behind it belongs to somebody else, must
/// outlive the view and need not end with NUL.
template <typename Char, typename Traits = char_traits<Char>>
class basic_string_view {
public:
    /// "Not found", and "up to the end".
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);
    /// The `max` of a split that yields every piece.
    static constexpr unsigned long unlimited = static_cast<unsigned long>(-2);

    constexpr basic_string_view() = default;
    constexpr basic_string_view(const Char* data, std::size_t length)
        : length_(length)
        , data_(data) {}
    /// A zero-terminated text; null gives the empty view.
    constexpr basic_string_view(const Char* text)
        : basic_string_view(text, text == nullptr ? 0 : Traits::length(text)) {}
    basic_string_view(const std::basic_string<Char>& text)
        : basic_string_view(text.data(), text.size()) {}

    [[nodiscard]] constexpr const Char* data() const { return data_; }
    [[nodiscard]] constexpr std::size_t size() const { return length_; }
    [[nodiscard]] constexpr bool empty() const { return length_ == 0; }
    [[nodiscard]] constexpr const Char* begin() const { return data_; }
    [[nodiscard]] constexpr const Char* end() const { return data_ + length_; }
    [[nodiscard]] constexpr Char operator[](std::size_t index) const { return data_[index]; }

    /// Same length and same bytes.
    constexpr bool operator==(const basic_string_view& other) const {
        return length_ == other.length_ && Traits::compare(data_, other.data_, length_) == 0;
    }

    /// At most `length` characters from `from` on; `from` must not lie behind the end.
    [[nodiscard]] constexpr basic_string_view substr(std::size_t from,
                                                     std::size_t length = npos) const {
        const std::size_t rest = length_ - from;
        return {data_ + from, length < rest ? length : rest};
    }

    /// The index of the first `text` at or behind `from`, or npos. An empty text is found nowhere.
    [[nodiscard]] std::size_t find(const basic_string_view& text, std::size_t from = 0) const;

    /// The pieces between the separators, as views into the same text. A text that ends with a
    /// separator ends with an empty piece; an empty text has no piece. When `max` - 1 pieces are
    /// there, what is left is one last piece.
    [[nodiscard]] std::vector<basic_string_view> split(const basic_string_view& separator,
                                                       unsigned long max = unlimited) const;

    [[nodiscard]] std::basic_string<Char> to_string() const { return {data_, length_}; }

private:
    std::size_t length_ = 0;
    const Char* data_ = nullptr;
};

extern template class basic_string_view<char, char_traits<char>>;

using string_view = basic_string_view<char, char_traits<char>>;

} // namespace qx
