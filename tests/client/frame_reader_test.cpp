#include "frame_reader.h"

#include "test_broker.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace qx::test;
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

TEST_F(FrameReader, RejectsLengthsThatMakeNoSense) {
    constexpr std::int32_t kMost = 64 * 1024 * 1024;
    for (const std::int32_t length : {0, -1, INT32_MIN, INT32_MAX, kMost, kMost + 1}) {
        EXPECT_EQ(feed({reinterpret_cast<const char*>(&length), 4}), length == kMost) << length;
        frame_reader_reset(reader_);
    }
    EXPECT_TRUE(feed(framed("after a reset")));
    EXPECT_EQ(texts_, std::vector<std::string>{"after a reset"});
}

} // namespace
