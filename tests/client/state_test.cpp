#include "state.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

// A text of so many letters, and what follows them.
std::string letters(std::size_t count, std::string_view end = "") {
    std::string text(count, 'x');
    text.append(end);
    return text;
}

struct Case {
    std::int32_t code;
    std::string message;
    std::string description;
    std::string stored;
};

TEST(State, AnErrorRecordIsFilledToItsLastByte) {
    const std::vector<Case> cases = {
        {0, "none", "", ""},
        {1, "invalid params", "wrong", "wrong"},
        {2, "invalid JSON schema", letters(187), letters(187)},
        {3, "internal error", letters(188), letters(187)},
        {3, "internal error", letters(300), letters(187)},
        {4, "", "the broker's own", "the broker's own"},
        {-1, "", "negative", "negative"},
        {INT32_MIN, "", "\xc3\xa4", "\xc3\xa4"},
        // Neither of these characters fits any more: nothing of it is kept.
        {1, "invalid params", letters(186, "\xc3\xa4"), letters(186)},
        {1, "invalid params", letters(185, "\xf0\x9f\x98\x80 more"), letters(185)},
        {1, "invalid params", letters(185, "\xc3\xa4 more"), letters(185, "\xc3\xa4")},
        {1, "invalid params", std::string(300, '\x80'), ""},
    };
    for (const Case& c : cases) {
        qx_plix_error_t record;
        std::memset(&record, 0x5a, sizeof record);
        qxplix::set_error(&record, c.code, c.description.c_str());
        qx_plix_error_t expected{};
        expected.code = c.code;
        c.message.copy(expected.message, c.message.size());
        c.stored.copy(expected.description, c.stored.size());
        EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0)
            << c.code << ": " << record.message << ": " << record.description;
    }
    qxplix::set_error(nullptr, 1, "nobody asked");
}

TEST(State, BeforeAnythingIsStarted) {
    EXPECT_FALSE(qxplix::is_initialised());
    EXPECT_EQ(stopped, 1);
}

} // namespace
