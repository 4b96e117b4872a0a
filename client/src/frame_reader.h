// A parser of the broker's messages, fed with arbitrary pieces of the stream. It does no I/O.
#pragma once

#include <cstddef>

namespace qxplix {

/// The state of the parser. A zero-initialised reader expects the start of a message. It has no
/// destructor, because a static table holds readers; its owner calls frame_reader_reset at the end.
struct frame_reader {
    char header[4];
    std::size_t header_size; ///< bytes of the header received so far
    char* body;              ///< null until the header is complete
    std::size_t body_size;
    std::size_t body_filled; ///< bytes of the body received so far
};

enum class frame_state {
    incomplete, ///< all input is consumed, and the message needs more
    complete,   ///< a message can be taken; input may be left
    broken,     ///< the length is invalid or memory ran out; the stream is unusable
};

/// Input that is not consumed yet.
struct byte_range {
    const char* data;
    std::size_t size;
};

/// Consumes bytes from the front of `in` until a message is complete. Take the message and call the
/// function again while `in` has bytes.
frame_state frame_reader_feed(frame_reader& reader, byte_range& in);

/// Returns the complete message as a zero-terminated text, which the caller frees with free(), and
/// makes the reader expect the next message.
char* frame_reader_take(frame_reader& reader);

/// The room for the missing bytes of the current header or body, to receive them in place. It is
/// never empty.
struct byte_gap {
    char* data;
    std::size_t size;
};
byte_gap frame_reader_gap(frame_reader& reader);

/// Consumes `size` bytes that the caller has stored in the gap.
frame_state frame_reader_fill(frame_reader& reader, std::size_t size);

/// Frees an incomplete message and makes the reader expect the next one.
void frame_reader_reset(frame_reader& reader);

} // namespace qxplix
