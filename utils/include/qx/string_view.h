// A non-owning view of characters. Safe to use on any thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace qx {

/// The same as std::char_traits. The published interface requires this name.
template <typename Char>
struct char_traits : std::char_traits<Char> {};

/// A pointer and a length. The characters must outlive the view and need not end with NUL. Only
/// split and to_string allocate memory; they throw std::bad_alloc if it runs out.
template <typename Char, typename Traits = char_traits<Char>>
class basic_string_view {
public:
    /// As an index: no match. As the length of substr(): up to the end.
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);
    /// The `max` that makes split() return all pieces.
    static constexpr unsigned long unlimited = static_cast<unsigned long>(-2);

    /// Makes the empty view, whose data() is null.
    constexpr basic_string_view() = default;

    /// Views `length` characters from `data` on.
    constexpr basic_string_view(const Char* data, std::size_t length)
        : length_(length)
        , data_(data) {}

    /// Views a NUL-terminated string without its terminator; null gives the empty view.
    constexpr basic_string_view(const Char* text)
        : basic_string_view(text, text == nullptr ? 0 : Traits::length(text)) {}

    /// Views the current characters of `text`. A change of `text` invalidates the view.
    basic_string_view(const std::basic_string<Char>& text)
        : basic_string_view(text.data(), text.size()) {}

    /// Access to the characters, as in std::string_view. An index must be less than size().
    [[nodiscard]] constexpr const Char* data() const { return data_; }
    [[nodiscard]] constexpr std::size_t size() const { return length_; }
    [[nodiscard]] constexpr bool empty() const { return length_ == 0; }
    [[nodiscard]] constexpr const Char* begin() const { return data_; }
    [[nodiscard]] constexpr const Char* end() const { return data_ + length_; }
    [[nodiscard]] constexpr Char operator[](std::size_t index) const { return data_[index]; }

    /// Returns whether the lengths and the characters are equal.
    constexpr bool operator==(const basic_string_view& other) const {
        return length_ == other.length_ && Traits::compare(data_, other.data_, length_) == 0;
    }

    /// Returns a view of at most `length` characters from index `from` on. `from` must not exceed
    /// size().
    [[nodiscard]] constexpr basic_string_view substr(std::size_t from,
                                                     std::size_t length = npos) const {
        const std::size_t rest = length_ - from;
        return {data_ + from, length < rest ? length : rest};
    }

    /// Returns the index of the first occurrence of `text` at or after index `from`, or npos. An
    /// empty `text` is never found.
    [[nodiscard]] std::size_t find(const basic_string_view& text, std::size_t from = 0) const;

    /// Splits the view at each `separator` and returns the pieces as views of the same characters.
    /// After a separator at the end comes an empty piece. An empty view has no pieces. `max`
    /// limits the number of pieces, of which the last is the unsplit rest. A `max` of 0 means no
    /// limit, and 1 is treated as 2.
    [[nodiscard]] std::vector<basic_string_view> split(const basic_string_view& separator,
                                                       unsigned long max = unlimited) const;

    /// Returns a copy of the characters.
    [[nodiscard]] std::basic_string<Char> to_string() const { return {data_, length_}; }

private:
    std::size_t length_ = 0;
    const Char* data_ = nullptr;
};

extern template class basic_string_view<char, char_traits<char>>;

using string_view = basic_string_view<char, char_traits<char>>;

} // namespace qx
