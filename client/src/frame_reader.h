// A parser for the broker's messages. The caller feeds it arbitrary pieces of the stream; the
// parser does no I/O.
#pragma once

#include <cstddef>

namespace qxplix {

/// The state of the parser. A zero-initialised reader expects the start of a message. The type has
/// no destructor because readers live in a static table: call frame_reader_reset to free a reader.
struct frame_reader {
    char header[4];
    std::size_t header_size; ///< bytes of the header received so far
    char* body;              ///< null until the header is complete
    std::size_t body_size;
    std::size_t body_filled; ///< bytes of the body received so far
};

enum class frame_state {
    incomplete, ///< all input is consumed; the message needs more
    complete,   ///< call frame_reader_take; unconsumed input may remain
    broken,     ///< the length is invalid or memory ran out; the stream is unusable
};

/// Input that is not consumed yet.
struct byte_range {
    const char* data;
    std::size_t size;
};

/// Consumes bytes from the front of `in` until a message is complete, `in` is empty or the stream
/// is broken. After `complete`, take the message, then call the function again while `in` has
/// bytes.
frame_state frame_reader_feed(frame_reader& reader, byte_range& in);

/// Returns the complete message as a zero-terminated text, which the caller frees with free(). The
/// reader then expects the next message.
char* frame_reader_take(frame_reader& reader);

/// The unfilled part of the current header or body, for receiving in place. Never empty while the
/// message is incomplete.
struct byte_gap {
    char* data;
    std::size_t size;
};
byte_gap frame_reader_gap(frame_reader& reader);

/// Consumes `size` bytes that the caller has stored at the start of the gap.
frame_state frame_reader_fill(frame_reader& reader, std::size_t size);

/// Frees an incomplete message and makes the reader expect the next one.
void frame_reader_reset(frame_reader& reader);

} // namespace qxplix
