#include "qx/string_view.h"

namespace qx {

template <typename Char, typename Traits>
std::size_t basic_string_view<Char, Traits>::find(const basic_string_view& text,
                                                  std::size_t from) const {
    if (text.empty()) {
        return npos;
    }
    while (from + text.length_ <= length_) {
        const std::size_t candidates = length_ - text.length_ + 1 - from;
        const Char* const hit = Traits::find(data_ + from, candidates, text[0]);
        if (hit == nullptr) {
            return npos;
        }
        from = static_cast<std::size_t>(hit - data_);
        if (Traits::compare(hit, text.data_, text.length_) == 0) {
            return from;
        }
        ++from;
    }
    return npos;
}

template <typename Char, typename Traits>
std::vector<basic_string_view<Char, Traits>>
basic_string_view<Char, Traits>::split(const basic_string_view& separator,
                                       unsigned long max) const {
    std::vector<basic_string_view> pieces;
    const unsigned long limit = max - 1; // wraps around: a `max` of 0 means no limit
    std::size_t from = 0;
    while (from < length_) {
        const std::size_t hit = find(separator, from);
        if (hit == npos) {
            pieces.push_back(substr(from));
            return pieces;
        }
        pieces.push_back(substr(from, hit - from));
        from = hit + separator.length_;
        if (limit <= pieces.size()) {
            if (from < length_) {
                pieces.push_back(substr(from));
                return pieces;
            }
            break;
        }
    }
    if (length_ > 0) {
        pieces.emplace_back(end(), 0);
    }
    return pieces;
}

template class basic_string_view<char, char_traits<char>>;

} // namespace qx
