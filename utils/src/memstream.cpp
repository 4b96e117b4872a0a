#include "qx/memstream.h"

#include <algorithm>
#include <cstring>

namespace qx {

basic_membuf::basic_membuf(long capacity)
    : requested_capacity_(capacity)
    , capacity_(capacity) {
    if (capacity >= 0) {
        characters_.resize(static_cast<std::size_t>(capacity) + 1);
        set_position(0);
    }
}

string_view basic_membuf::sview() const {
    if (characters_.empty()) {
        return {};
    }
    length_ = written();
    characters_[length_] = '\0';
    return {characters_.data(), length_};
}

void basic_membuf::truncate(std::size_t length) {
    if (!characters_.empty()) {
        set_position(length);
    }
}

std::size_t basic_membuf::written() const {
    // std::streambuf stores single characters without a virtual call, so only pptr() counts them.
    return characters_.empty() ? 0 : static_cast<std::size_t>(pptr() - characters_.data());
}

void basic_membuf::set_position(std::size_t position) {
    char* const start = characters_.data();
    length_ = position;
    // Begin the put area at the write position: pbump could move pptr() only by an int.
    setp(start + position, start + capacity_);
}

void basic_membuf::grow(std::size_t more) {
    const std::size_t position = written();
    const std::size_t doubled = static_cast<std::size_t>(std::max(capacity_, 0L)) * 2;
    const std::size_t wanted = std::max(doubled, position + more);
    characters_.resize(wanted + 1);
    capacity_ = static_cast<long>(wanted);
    set_position(position);
}

basic_membuf::int_type basic_membuf::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) {
        return traits_type::not_eof(character);
    }
    grow(1);
    return sputc(traits_type::to_char_type(character));
}

std::streamsize basic_membuf::xsputn(const char* text, std::streamsize count) {
    if (count <= 0) {
        return 0;
    }
    if (count > epptr() - pptr()) {
        grow(static_cast<std::size_t>(count));
    }
    std::memcpy(pptr(), text, static_cast<std::size_t>(count));
    set_position(written() + static_cast<std::size_t>(count));
    return count;
}

basic_memstream::basic_memstream(long capacity)
    : std::ostream(nullptr)
    , buffer_(capacity) {
    rdbuf(&buffer_);
    exceptions(std::ios_base::badbit);
}

basic_memstream::~basic_memstream() = default;

} // namespace qx
