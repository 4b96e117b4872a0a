#include "state.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>

namespace {

// A text of so many letters, and what follows them.
std::string letters(std::size_t count, std::string_view end = "") {
    std::string text(count, 'x');
    text.append(end);
    return text;
}

TEST(State, AnErrorRecordIsFilledToItsLastByte) {
    const struct {
        std::int32_t code;
        std::string message;
        std::string description;
        std::string stored;
    } cases[] = {
        {2, "invalid JSON schema", letters(187), letters(187)},
        {3, "internal error", letters(188), letters(187)},
        {4, "", "the broker's own", "the broker's own"},
        {-1, "", "\xc3\xa4", "\xc3\xa4"},
        // Neither of these characters fits any more: nothing of it is kept.
        {1, "invalid params", letters(186, "\xc3\xa4"), letters(186)},
        {1, "invalid params", letters(185, "\xf0\x9f\x98\x80 more"), letters(185)},
        {1, "invalid params", letters(185, "\xc3\xa4 more"), letters(185, "\xc3\xa4")},
        {1, "invalid params", std::string(300, '\x80'), ""},
    };
    for (const auto& c : cases) {
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

} // namespace
