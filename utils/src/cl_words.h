// Words of a person's command line in messages: shown safely, and compared with the words that are
// known.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>

namespace qx::cl::detail {

std::string concat(std::initializer_list<string_view> parts);

std::string joined(std::span<const string_view> words, string_view separator);

/// `word` in single quotes, fit for one line of any terminal: what is not printable UTF-8 is
/// escaped, and a long word is cut.
std::string quoted(string_view word);

/// Finds the known word that `word` most likely misspells, ignoring case: the closest one within an
/// edit distance of two that has something in common with it; else the only one that begins or ends
/// with `word`, if that has at least three letters. Among equally close words the first one offered
/// wins.
class nearest_word {
public:
    explicit nearest_word(string_view word);

    void offer(string_view known);
    /// Empty when none was close.
    [[nodiscard]] string_view found() const;
    [[nodiscard]] bool within(std::size_t distance) const { return distance_ <= distance; }

private:
    static constexpr std::size_t kFar = 3;

    std::string word_;
    string_view found_;
    std::size_t distance_ = kFar;
    string_view longer_;     // the first known word that begins or ends with `word_`
    bool is_unique_ = false; // no other one does
};

} // namespace qx::cl::detail
