#include "cl_words.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <vector>

namespace qx::cl::detail {
namespace {

constexpr std::size_t kShownCharacters = 60;

constexpr std::size_t kShortestPart = 3; ///< of a word that stands for all of it

struct Character {
    std::uint32_t code = 0;
    std::size_t size = 1;
    bool valid = false;
};

/// The UTF-8 character at `at`; one invalid byte where there is none.
Character decode(string_view text, std::size_t at) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char lead = byte(at);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const std::size_t size = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || at + size > text.size()) {
        return {};
    }
    std::uint32_t code = lead & (0x7fU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(at + i) & 0xc0) != 0x80) {
            return {};
        }
        code = code << 6 | (byte(at + i) & 0x3fU);
    }
    const bool overlong = (size == 3 && code < 0x800) || (size == 4 && code < 0x10000);
    const bool surrogate = code >= 0xd800 && code < 0xe000;
    return {code, size, !overlong && !surrogate && code < 0x110000};
}

/// Whether a terminal shows the character as one that can be seen, without a change of direction or
/// of line.
bool is_plain(std::uint32_t code) {
    struct Range {
        std::uint32_t first;
        std::uint32_t last;
    };
    constexpr Range kHidden[] = {
        {0x0, 0x1f},      {0x7f, 0x9f},     {0xad, 0xad},     {0x61c, 0x61c},   {0x200b, 0x200f},
        {0x2028, 0x202e}, {0x2060, 0x206f}, {0xfeff, 0xfeff}, {0xfff9, 0xfffb}, {0xe0000, 0xe0fff}};
    return std::none_of(std::begin(kHidden), std::end(kHidden), [code](const Range& range) {
        return code >= range.first && code <= range.last;
    });
}

void append_escaped(std::string& out, string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        out += "\\x";
        out += kDigits[value >> 4];
        out += kDigits[value & 0xf];
    }
}

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
        const Character character = decode(word, at);
        const string_view bytes = word.substr(at, character.size);
        if (!character.valid || !is_plain(character.code)) {
            append_escaped(out, bytes);
        } else {
            out.append(bytes.data(), bytes.size());
        }
        at += character.size;
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
