// Takes the broker's messages out of a stream that arrives in pieces. Knows nothing of sockets.
#pragma once

#include <cstddef>

namespace qxplix {

/// A message under way. Zero-initialised it expects the start of one. A plain record, so that a
/// table of them needs no destructor; whoever owns one resets it in the end.
struct frame_reader {
    char header[4];
    std::size_t header_size; ///< bytes of the header that are there
    char* body;              ///< null until the header is whole
    std::size_t body_size;
    std::size_t body_filled;
};

enum class frame_state {
    incomplete, ///< all bytes are used up, more are needed
    complete,   ///< a message can be taken; bytes behind it may be left
    broken,     ///< the length makes no sense, or memory is short; the stream is lost
};

/// The bytes that are not used up yet.
struct byte_range {
    const char* data;
    std::size_t size;
};

/// Uses up bytes from the front of `in` until a message is complete. Call again, after taking the
/// message, for as long as `in` has bytes.
frame_state frame_reader_feed(frame_reader& reader, byte_range& in);

/// The complete message as a zero-terminated text, which the caller frees with free(). Then the
/// reader expects the next one.
char* frame_reader_take(frame_reader& reader);

/// The room for the missing bytes of the current header or body, so that they can be received in
/// place. Never empty.
struct byte_gap {
    char* data;
    std::size_t size;
};
byte_gap frame_reader_gap(frame_reader& reader);

/// Says that `size` bytes have been put into the gap.
frame_state frame_reader_fill(frame_reader& reader, std::size_t size);

/// Forgets the message under way.
void frame_reader_reset(frame_reader& reader);

} // namespace qxplix
