#include "qx/escape.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace qx {
namespace {

struct Character {
    std::uint32_t code = 0;
    std::size_t size = 1;
    bool valid = false;
};

/// Decodes the UTF-8 character at index `at`. An overlong encoding, a surrogate or a code above
/// U+10FFFF is not valid. If no complete character begins there, the result is one byte, not valid.
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

/// Returns whether the character is visible, ends no line and keeps the text direction.
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

} // namespace

std::size_t append_shown(std::string& out, string_view text, std::size_t at) {
    const Character character = decode(text, at);
    const string_view bytes = text.substr(at, character.size);
    if (character.valid && is_plain(character.code)) {
        out.append(bytes.data(), bytes.size());
        return bytes.size();
    }
    constexpr char digits[] = "0123456789abcdef";
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        out += "\\x";
        out += digits[code >> 4U];
        out += digits[code & 0xfU];
    }
    return bytes.size();
}

std::string shown(string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        at += append_shown(out, text, at);
    }
    return out;
}

bool is_printable_ascii(string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

} // namespace qx
