#include "frame_reader.h"

#include "test_broker.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using qx::test::framed;
using namespace qxplix;

class FrameReader : public ::testing::Test {
protected:
    void TearDown() override { frame_reader_reset(reader_); }

    // Feeds one piece; false when the stream is broken.
    bool feed(const std::string& piece) {
        byte_range in{piece.data(), piece.size()};
        while (in.size > 0) {
            const frame_state state = frame_reader_feed(reader_, in);
            if (state == frame_state::broken) {
                return false;
            }
            if (state == frame_state::complete) {
                char* const text = frame_reader_take(reader_);
                texts_.emplace_back(text);
                std::free(text);
            }
        }
        return true;
    }

    frame_reader reader_{};
    std::vector<std::string> texts_;
};

std::string header(std::int32_t length) {
    std::string bytes(4, '\0');
    std::memcpy(bytes.data(), &length, 4);
    return bytes;
}

TEST_F(FrameReader, FindsTheSameMessagesHoweverTheStreamIsCut) {
    const std::vector<std::string> messages = {"1", R"({"status": 0})", "22", "[]"};
    std::string stream;
    for (const std::string& message : messages) {
        stream += framed(message);
    }
    for (std::size_t first = 0; first <= stream.size(); ++first) {
        for (std::size_t second = first; second <= stream.size(); ++second) {
            texts_.clear();
            ASSERT_TRUE(feed(stream.substr(0, first)));
            ASSERT_TRUE(feed(stream.substr(first, second - first)));
            ASSERT_TRUE(feed(stream.substr(second)));
            ASSERT_EQ(texts_, messages) << "cut at " << first << " and " << second;
        }
    }
}

TEST_F(FrameReader, ABodyCanBeReceivedInPlace) {
    const std::string body(100000, 'x');
    EXPECT_EQ(frame_reader_gap(reader_).size, 0U);
    ASSERT_TRUE(feed(header(100000) + body.substr(0, 7)));
    const byte_gap gap = frame_reader_gap(reader_);
    ASSERT_EQ(gap.size, body.size() - 7);
    std::memcpy(gap.data, body.data() + 7, gap.size);
    EXPECT_EQ(frame_reader_fill(reader_, gap.size - 1), frame_state::incomplete);
    EXPECT_EQ(frame_reader_gap(reader_).size, 1U);
    EXPECT_EQ(frame_reader_fill(reader_, 1), frame_state::complete);
    char* const text = frame_reader_take(reader_);
    EXPECT_EQ(text, body);
    std::free(text);
    EXPECT_EQ(frame_reader_gap(reader_).size, 0U);
}

TEST_F(FrameReader, RejectsLengthsThatMakeNoSense) {
    constexpr std::int32_t kMost = 64 * 1024 * 1024;
    for (const std::int32_t length : {0, -1, INT32_MIN, INT32_MAX, kMost + 1}) {
        EXPECT_FALSE(feed(header(length) + "x")) << length;
        frame_reader_reset(reader_);
    }
    EXPECT_TRUE(feed(header(kMost)));
    frame_reader_reset(reader_);
    EXPECT_TRUE(feed(framed("after a reset")));
    EXPECT_EQ(texts_, std::vector<std::string>{"after a reset"});
}

} // namespace
