// An output stream into memory. Usable on any thread, but threads must not share an object: even
// sview() writes to it.
#pragma once

#include "qx/string_view.h"

#include <cstddef>
#include <ostream>
#include <streambuf>
#include <vector>

namespace qx {

/// A stream buffer that owns its characters and doubles its capacity when it is full.
class basic_membuf : public std::streambuf {
public:
    /// Allocates room for `capacity` characters, or none if `capacity` is -1; sview() is then the
    /// empty view with null data() until the first write. Throws std::bad_alloc if memory runs out.
    explicit basic_membuf(long capacity);

    /// Returns the constructor's argument.
    [[nodiscard]] long requested_capacity() const { return requested_capacity_; }

    /// Returns the characters written so far. A NUL, which the view does not count, follows them.
    /// Valid until the next write or truncate.
    [[nodiscard]] string_view sview() const;

    /// Drops all but the first `length` characters. `length` must not exceed the number of
    /// characters written.
    void truncate(std::size_t length);

protected:
    /// Append to the characters and never report EOF; throw std::bad_alloc if memory runs out.
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;

private:
    /// Returns the number of characters written.
    [[nodiscard]] std::size_t written() const;
    /// Makes `position` the number of characters written.
    void set_position(std::size_t position);
    /// Makes room for at least `more` characters.
    void grow(std::size_t more);

    long requested_capacity_;
    mutable std::vector<char> characters_; // capacity_ + 1 long, for the NUL
    mutable std::size_t length_ = 0;
    long capacity_;
};

/// A stream that writes to its own basic_membuf. Throws std::bad_alloc if memory runs out; it never
/// drops characters without an exception.
class basic_memstream : public std::ostream {
public:
    /// Allocates room like the constructor of basic_membuf.
    explicit basic_memstream(long capacity);
    basic_memstream(const basic_memstream&) = delete;
    basic_memstream& operator=(const basic_memstream&) = delete;
    ~basic_memstream() override;

    /// Like basic_membuf::sview.
    [[nodiscard]] string_view sview() const { return buffer_.sview(); }

    /// Like basic_membuf::truncate.
    void truncate(std::size_t length) { buffer_.truncate(length); }

private:
    basic_membuf buffer_;
};

} // namespace qx
