#include "frame_reader.h"

#include "wire.h"

#include <cstdlib>
#include <cstring>

namespace qxplix {
namespace {

std::size_t smaller(std::size_t a, std::size_t b) {
    return a < b ? a : b;
}

void skip(byte_range& in, std::size_t size) {
    in.data += size;
    in.size -= size;
}

bool begin_body(frame_reader& reader) {
    std::int32_t length = 0;
    static_assert(sizeof length == sizeof reader.header);
    std::memcpy(&length, reader.header, sizeof length);
    if (!is_message_length(length)) {
        return false;
    }
    reader.body_size = static_cast<std::size_t>(length);
    reader.body_filled = 0;
    reader.body = static_cast<char*>(std::malloc(reader.body_size + 1));
    return reader.body != nullptr;
}

} // namespace

frame_state frame_reader_feed(frame_reader& reader, byte_range& in) {
    if (reader.body == nullptr) {
        const std::size_t part = smaller(sizeof reader.header - reader.header_size, in.size);
        std::memcpy(reader.header + reader.header_size, in.data, part);
        reader.header_size += part;
        skip(in, part);
        if (reader.header_size < sizeof reader.header) {
            return frame_state::incomplete;
        }
        if (!begin_body(reader)) {
            return frame_state::broken;
        }
    }
    const byte_gap gap = frame_reader_gap(reader);
    const std::size_t part = smaller(gap.size, in.size);
    std::memcpy(gap.data, in.data, part);
    skip(in, part);
    return frame_reader_fill(reader, part);
}

char* frame_reader_take(frame_reader& reader) {
    char* const text = reader.body;
    text[reader.body_size] = '\0';
    reader = {};
    return text;
}

byte_gap frame_reader_gap(const frame_reader& reader) {
    if (reader.body == nullptr) {
        return {nullptr, 0};
    }
    return {reader.body + reader.body_filled, reader.body_size - reader.body_filled};
}

frame_state frame_reader_fill(frame_reader& reader, std::size_t size) {
    reader.body_filled += size;
    return reader.body_filled == reader.body_size ? frame_state::complete : frame_state::incomplete;
}

void frame_reader_reset(frame_reader& reader) {
    std::free(reader.body);
    reader = {};
}

} // namespace qxplix
