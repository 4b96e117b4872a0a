#include "qx/string_view.h"

#include <gtest/gtest.h>

namespace {

using qx::string_view;
using Texts = std::vector<std::string>;

Texts split(string_view text, string_view separator, unsigned long max = string_view::unlimited) {
    Texts pieces;
    for (const string_view& piece : text.split(separator, max)) {
        pieces.push_back(piece.to_string());
    }
    return pieces;
}

TEST(StringView, SplitsAtEverySeparator) {
    const struct {
        const char* text;
        const char* separator;
        Texts pieces;
    } cases[] = {
        {"", ",", {}},
        {"a", ",", {"a"}},
        {"a,,b", ",", {"a", "", "b"}},
        {",b", ",", {"", "b"}},
        {"a,", ",", {"a", ""}},
        {"=", "=", {"", ""}},
        {"a=b=c", "=", {"a", "b", "c"}},
        {"a--b-c-", "--", {"a", "b-c-"}},
        {"a---b", "--", {"a", "-b"}},
        {"a-", "--", {"a-"}},
        {"aab", "ab", {"a", ""}},
        {"-", "--", {"-"}},
        {"ab", "", {"ab"}},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(split(each.text, each.separator), each.pieces) << each.text;
    }
}

TEST(StringView, SplitLeavesTheRestInOnePieceAtTheLimit) {
    EXPECT_EQ(split("a,b,c", ",", 2), (Texts{"a", "b,c"}));
    EXPECT_EQ(split("a,b", ",", 2), (Texts{"a", "b"}));
    EXPECT_EQ(split("a,", ",", 2), (Texts{"a", ""}));
    EXPECT_EQ(split("a,b,c", ",", 1), (Texts{"a", "b,c"}));
    EXPECT_EQ(split("a,b,c", ",", 0), (Texts{"a", "b", "c"}));
}

TEST(StringView, PiecesAreViewsOfTheText) {
    const std::string text = "key=";
    const auto pieces = string_view(text).split("=");
    ASSERT_EQ(pieces.size(), 2U);
    EXPECT_EQ(pieces[0].data(), text.data());
    EXPECT_EQ(pieces[1].data(), text.data() + 4);
}

TEST(StringView, ComparesLengthAndBytes) {
    const char* const null = nullptr;
    EXPECT_TRUE(string_view(null) == string_view(""));
    EXPECT_EQ(string_view(null).data(), nullptr);
    EXPECT_TRUE(string_view("abc", 2) == "ab");
    EXPECT_FALSE(string_view("ab") == "Ab");
    EXPECT_FALSE(string_view("a\0b", 3) == string_view("a\0c", 3));
    EXPECT_FALSE(string_view("ab") == "abc");
}

} // namespace
