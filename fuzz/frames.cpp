// The frame reader finds the same messages no matter how the stream is split into pieces.

#include "base/protocol.h"
#include "frame_reader.h"

#include "input.h"
#include "wire.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace qxplix;
using qx::fuzz::check;

struct Result {
    std::vector<std::string> messages;
    bool broken = false;
    std::size_t missing = 0;

    bool operator==(const Result& other) const = default;
};

/// Reads `stream` in pieces of `piece` bytes. Feeds the pieces to the reader, or with `in_place`
/// writes them into the reader's own buffer.
Result read_all(const std::string& stream, std::size_t piece, bool in_place) {
    frame_reader reader{};
    Result result;
    for (std::size_t at = 0; at < stream.size() && !result.broken;) {
        byte_range in{stream.data() + at, std::min(piece, stream.size() - at)};
        const byte_gap gap = frame_reader_gap(reader);
        frame_state state = frame_state::incomplete;
        if (in_place) {
            const std::size_t part = std::min(gap.size, in.size);
            stream.copy(gap.data, part, at);
            at += part;
            state = frame_reader_fill(reader, part);
        } else {
            const std::size_t before = in.size;
            state = frame_reader_feed(reader, in);
            check(in.size < before, "the reader consumes at least one byte");
            check(state != frame_state::incomplete || in.size == 0,
                  "an incomplete frame consumes all input");
            at += before - in.size;
        }
        result.broken = state == frame_state::broken;
        if (state == frame_state::complete) {
            char* const text = frame_reader_take(reader);
            result.messages.emplace_back(text);
            std::free(text);
        }
    }
    result.missing = frame_reader_gap(reader).size;
    frame_reader_reset(reader);
    return result;
}

/// Returns the expected result for `stream`. Cuts `stream` before a message larger than 64 KiB: no
/// input is long enough to complete it, and its allocation would dominate the time.
Result expected(std::string& stream) {
    constexpr std::int32_t kLarge = 1 << 16;
    Result result;
    for (std::size_t at = 0;;) {
        std::int32_t length = 0;
        const std::size_t left = stream.size() - at;
        if (left < sizeof length) {
            result.missing = sizeof length - left;
            return result;
        }
        stream.copy(reinterpret_cast<char*>(&length), sizeof length, at);
        if (qx_is_message_length(length) == 0) {
            result.broken = true;
            return result;
        }
        if (length > kLarge) {
            stream.resize(at);
            continue;
        }
        at += sizeof length;
        const auto size = static_cast<std::size_t>(length);
        if (stream.size() - at < size) {
            result.missing = size - (stream.size() - at);
            return result;
        }
        result.messages.emplace_back(stream.substr(at, size).c_str());
        at += size;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qx::fuzz::Input input(data, size);
    const std::size_t piece = input.byte() + std::size_t{1};
    std::string stream = input.rest();
    const Result messages = expected(stream);
    for (const std::size_t cut : {stream.size(), piece, std::size_t{1}}) {
        check(read_all(stream, cut, false) == messages, "copied pieces give the expected messages");
        check(read_all(stream, cut, true) == messages,
              "pieces received in place give the expected messages");
    }
    return 0;
}
