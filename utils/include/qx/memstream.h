// An output stream into memory. Threads must not share an object.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <ostream>
#include <streambuf>
#include <vector>

namespace qx {

/// A stream buffer that owns its characters and grows by doubling.
class basic_membuf : public std::streambuf {
public:
    /// Reserves room for `capacity` characters. With -1 the buffer has no room, and data() of
    /// `sview` is null until the first write.
    explicit basic_membuf(long capacity);

    /// Returns the capacity given to the constructor.
    [[nodiscard]] long requested_capacity() const { return requested_capacity_; }

    /// Returns the characters written so far, followed by a terminating NUL. Valid until the next
    /// write.
    [[nodiscard]] string_view sview() const;

    /// Keeps only the first `length` characters. `length` must not exceed the number of characters
    /// written.
    void truncate(std::size_t length);

protected:
    /// Overrides of std::streambuf. They throw std::bad_alloc if memory runs out.
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;

private:
    [[nodiscard]] std::size_t written() const;
    void set_position(std::size_t position);
    void grow(std::size_t more);

    long requested_capacity_;
    mutable std::vector<char> characters_; // the capacity plus the terminator
    mutable std::size_t length_ = 0;
    long capacity_;
};

/// A stream that owns its basic_membuf. Throws if memory runs out; it never truncates the text.
class basic_memstream : public std::ostream {
public:
    /// Reserves room for `capacity` characters, like basic_membuf.
    explicit basic_memstream(long capacity);
    basic_memstream(const basic_memstream&) = delete;
    basic_memstream& operator=(const basic_memstream&) = delete;
    ~basic_memstream() override;

    /// Returns the characters written so far, followed by a terminating NUL. Valid until the next
    /// write.
    [[nodiscard]] string_view sview() const { return buffer_.sview(); }

    /// Keeps only the first `length` characters. `length` must not exceed the number of characters
    /// written.
    void truncate(std::size_t length) { buffer_.truncate(length); }

private:
    basic_membuf buffer_;
};

} // namespace qx
