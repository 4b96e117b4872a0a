#include "frame_reader.h"

#include "base/protocol.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace qxplix {
namespace {

bool begin_body(frame_reader& reader) {
    std::int32_t length = 0;
    static_assert(sizeof length == sizeof reader.header);
    std::memcpy(&length, reader.header, sizeof length);
    if (qx_is_message_length(length) == 0) {
        return false;
    }
    reader.body_size = static_cast<std::size_t>(length);
    reader.body_filled = 0;
    reader.body = static_cast<char*>(std::malloc(reader.body_size + 1));
    return reader.body != nullptr;
}

} // namespace

frame_state frame_reader_feed(frame_reader& reader, byte_range& in) {
    frame_state state = frame_state::incomplete;
    while (in.size > 0 && state == frame_state::incomplete) {
        const byte_gap gap = frame_reader_gap(reader);
        const std::size_t part = gap.size < in.size ? gap.size : in.size;
        std::memcpy(gap.data, in.data, part);
        in.data += part;
        in.size -= part;
        state = frame_reader_fill(reader, part);
    }
    return state;
}

char* frame_reader_take(frame_reader& reader) {
    char* const text = reader.body;
    text[reader.body_size] = '\0';
    reader = {};
    return text;
}

byte_gap frame_reader_gap(frame_reader& reader) {
    if (reader.body == nullptr) {
        return {reader.header + reader.header_size, sizeof reader.header - reader.header_size};
    }
    return {reader.body + reader.body_filled, reader.body_size - reader.body_filled};
}

frame_state frame_reader_fill(frame_reader& reader, std::size_t size) {
    if (reader.body == nullptr) {
        reader.header_size += size;
        const bool is_whole = reader.header_size == sizeof reader.header;
        return is_whole && !begin_body(reader) ? frame_state::broken : frame_state::incomplete;
    }
    reader.body_filled += size;
    return reader.body_filled == reader.body_size ? frame_state::complete : frame_state::incomplete;
}

void frame_reader_reset(frame_reader& reader) {
    std::free(reader.body);
    reader = {};
}

} // namespace qxplix
