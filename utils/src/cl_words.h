// Helpers for messages about the command line. They join and quote words, and find the known word
// that is most similar to a mistyped one. Safe to use on any thread, but threads must not share an
// object. Functions throw std::bad_alloc if memory runs out.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>

namespace qx::cl::detail {

/// Returns the concatenation of `parts`.
std::string concat(std::initializer_list<string_view> parts);

/// Returns `words` with `separator` between them.
std::string joined(std::span<const string_view> words, string_view separator);

/// Returns `word` in single quotes for a message of one line. Escapes the word as in qx/escape.h.
/// Truncates it after 60 characters.
std::string quoted(string_view word);

/// Finds the known word that a user most likely meant by `word`. Compares without regard to case.
/// The result is the known word with the smallest edit distance to `word`. The distance must be at
/// most two, and less than the length of the longer of the two words. Of equally close words the
/// first one offered wins. If no word is that close, but `word` has at least three characters and
/// exactly one known word begins or ends with `word`, the result is this known word.
class nearest_word {
public:
    /// Copies `word`.
    explicit nearest_word(string_view word);

    /// Compares `known`, another known word, whose characters must outlive the object.
    void offer(string_view known);
    /// Returns the result, or an empty string if no known word is close.
    [[nodiscard]] string_view found() const;
    /// Returns whether the edit distance of an offered word is at most `distance`, which is 0 to 2.
    [[nodiscard]] bool within(std::size_t distance) const { return distance_ <= distance; }

private:
    static constexpr std::size_t kFar = 3;

    std::string word_;
    string_view found_;
    std::size_t distance_ = kFar;
    string_view longer_;     // the first known word that begins or ends with word_
    bool is_unique_ = false; // whether no other known word begins or ends with word_
};

} // namespace qx::cl::detail
