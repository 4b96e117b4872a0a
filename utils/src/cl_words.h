// Words of the command line in messages: escaped for display, and compared with known words.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>

namespace qx::cl::detail {

/// Returns the concatenation of `parts`.
std::string concat(std::initializer_list<string_view> parts);

/// Returns the words with `separator` between them.
std::string joined(std::span<const string_view> words, string_view separator);

/// Returns `word` in single quotes for a message of one line. Escapes it as in qx/escape.h and
/// truncates a long word.
std::string quoted(string_view word);

/// Finds the known word that a user most likely meant by `word`, ignoring case: the closest word
/// within an edit distance of two that shares a character with it, or else the only word that
/// begins or ends with it, if `word` has at least three letters. Of equally close words the first
/// one offered wins.
class nearest_word {
public:
    explicit nearest_word(string_view word);

    /// Compares another known word, which must outlive the object.
    void offer(string_view known);
    /// Returns the closest word, or an empty text if no word is close.
    [[nodiscard]] string_view found() const;
    /// Returns whether some offered word is within the edit distance.
    [[nodiscard]] bool within(std::size_t distance) const { return distance_ <= distance; }

private:
    static constexpr std::size_t kFar = 3;

    std::string word_;
    string_view found_;
    std::size_t distance_ = kFar;
    string_view longer_;     // the first known word that begins or ends with `word_`
    bool is_unique_ = false; // no other known word does
};

} // namespace qx::cl::detail
