#include "frame_reader.h"

#include <gtest/gtest.h>

namespace {

using namespace qxplix;

TEST(FrameReader, RejectsLengthsBelow1OrAbove64MiB) {
    constexpr std::int32_t kMost = 64 * 1024 * 1024;
    for (const std::int32_t length : {0, -1, INT32_MIN, INT32_MAX, kMost, kMost + 1}) {
        frame_reader reader{};
        byte_range in{reinterpret_cast<const char*>(&length), sizeof length};
        EXPECT_EQ(frame_reader_feed(reader, in) != frame_state::broken, length == kMost) << length;
        frame_reader_reset(reader);
    }
}

} // namespace
