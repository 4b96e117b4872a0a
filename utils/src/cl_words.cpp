#include "cl_words.h"

#include "qx/escape.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace qx::cl::detail {
namespace {

constexpr std::size_t kShownCharacters = 60;

// A given word needs at least this many characters to match the start or end of a longer known
// word.
constexpr std::size_t kShortestPart = 3;

std::size_t edit_distance(string_view left, string_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t changed = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string lower_case(string_view word) {
    std::string lower = word.to_string();
    for (char& letter : lower) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return lower;
}

} // namespace

std::string concat(std::initializer_list<string_view> parts) {
    std::string text;
    for (const string_view part : parts) {
        text.append(part.data(), part.size());
    }
    return text;
}

std::string joined(std::span<const string_view> words, string_view separator) {
    std::string text;
    for (const string_view word : words) {
        text += concat({text.empty() ? "" : separator, word});
    }
    return text;
}

std::string quoted(string_view word) {
    std::string out = "'";
    std::size_t shown = 0;
    for (std::size_t at = 0; at < word.size(); ++shown) {
        if (shown == kShownCharacters) {
            out += "...";
            break;
        }
        at += append_shown(out, word, at);
    }
    return out += '\'';
}

nearest_word::nearest_word(string_view word)
    : word_(lower_case(word)) {}

void nearest_word::offer(string_view known) {
    const std::string folded = lower_case(known);
    const bool extends = word_.size() >= kShortestPart && folded.size() > word_.size() &&
                         (folded.starts_with(word_) || folded.ends_with(word_));
    if (extends && known != longer_) {
        is_unique_ = longer_.empty();
        longer_ = known;
    }
    const std::size_t longer = std::max(folded.size(), word_.size());
    const std::size_t shorter = std::min(folded.size(), word_.size());
    if (longer - shorter >= kFar) {
        return;
    }
    const std::size_t distance = edit_distance(word_, folded);
    if (distance < distance_ && distance < longer) {
        distance_ = distance;
        found_ = known;
    }
}

string_view nearest_word::found() const {
    return found_.empty() && is_unique_ ? longer_ : found_;
}

} // namespace qx::cl::detail
