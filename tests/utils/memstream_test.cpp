#include "qx/error.h"
#include "qx/memstream.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using qx::basic_membuf;
using qx::basic_memstream;

TEST(Memstream, ViewIsZeroTerminatedWhateverTheCapacity) {
    for (const long capacity : {-1L, 0L, 1L, 3L, 128L}) {
        basic_memstream stream(capacity);
        std::string expected;
        for (int i = 0; i < 300; ++i) {
            stream << i << '.';
            stream.put('x');
            expected += std::to_string(i) + ".x";
            ASSERT_EQ(stream.sview().to_string(), expected) << capacity;
            ASSERT_STREQ(stream.sview().data(), expected.c_str());
        }
    }
}

TEST(Memstream, StartsEmptyAndWithoutDataOnlyAtCapacityMinusOne) {
    EXPECT_EQ(basic_memstream(-1).sview().data(), nullptr);
    EXPECT_STREQ(basic_memstream(0).sview().data(), "");
    EXPECT_EQ(basic_membuf(-1).requested_capacity(), -1);
    EXPECT_EQ(basic_membuf(7).requested_capacity(), 7);
}

TEST(Memstream, TruncatedTextIsWrittenOver) {
    basic_memstream stream(4);
    stream << "0123456789";
    stream.truncate(3);
    stream << "ab";
    EXPECT_STREQ(stream.sview().data(), "012ab");
    stream.truncate(0);
    EXPECT_STREQ(stream.sview().data(), "");
}

TEST(ErrorRecord, KeepsTheLastFailure) {
    const qx::_QXErrorStorage& record = qx::_get_qxerrno();
    EXPECT_EQ(record.number, 0);
    EXPECT_STREQ(record.first.sview().data(), "ok");
    EXPECT_STREQ(record.second.sview().data(), "no error");
    qx::set_qxerrno(3, "a longer class than the next one", std::string(500, 'x'));
    qx::set_qxerrno(4, "class", "reason");
    EXPECT_EQ(record.number, 4);
    EXPECT_STREQ(record.first.sview().data(), "class");
    EXPECT_STREQ(record.second.sview().data(), "reason");
}

} // namespace
