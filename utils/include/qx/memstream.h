// An output stream into memory.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <ostream>
#include <streambuf>
#include <vector>

namespace qx {

/// A stream buffer whose characters live in a vector of its own; it grows by doubling.
class basic_membuf : public std::streambuf {
public:
    /// Room for `capacity` characters before the first growth; -1: no room, and null as the data of
    /// `sview`.
    explicit basic_membuf(long capacity);

    /// The capacity given at construction.
    [[nodiscard]] long requested_capacity() const { return requested_capacity_; }

    /// What was written so far, also readable as a zero-terminated text. Valid until the next
    /// write.
    [[nodiscard]] string_view sview() const;

    /// Forgets everything behind the first `length` characters; no more than were written.
    void truncate(std::size_t length);

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;

private:
    [[nodiscard]] std::size_t written() const;
    void set_position(std::size_t position);
    void grow(std::size_t more);

    long requested_capacity_;
    mutable std::vector<char> characters_; // one more than the capacity, for the terminator
    mutable std::size_t length_ = 0;
    long capacity_;
};

/// A stream into a basic_membuf that it owns. Memory that runs out throws instead of cutting the
/// text short.
class basic_memstream : public std::ostream {
public:
    /// `capacity` as in basic_membuf.
    explicit basic_memstream(long capacity);
    basic_memstream(const basic_memstream&) = delete;
    basic_memstream& operator=(const basic_memstream&) = delete;
    ~basic_memstream() override;

    /// What was written so far, also readable as a zero-terminated text. Valid until the next
    /// write.
    [[nodiscard]] string_view sview() const { return buffer_.sview(); }

    /// Forgets everything behind the first `length` characters; no more than were written.
    void truncate(std::size_t length) { buffer_.truncate(length); }

private:
    basic_membuf buffer_;
};

} // namespace qx
