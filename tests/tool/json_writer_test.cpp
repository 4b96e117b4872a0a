#include "json_writer.h"

#include "base/json.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include <random>
#include <string>

namespace {

/// Generates random JSON documents from every kind of value and every class of characters.
class Documents {
public:
    std::string next() { return of_depth(4); }

private:
    std::string of_depth(int depth) {
        switch (below(depth > 0 ? 6 : 4)) {
        case 0:
            return text();
        case 1:
            return std::to_string(static_cast<std::int64_t>(random_()));
        case 2:
            return std::to_string(std::uniform_real_distribution<>(-1e300, 1e300)(random_));
        case 3:
            return std::string(std::array{"true", "false", "null", "-0.0", "1e-7"}[below(5)]);
        case 4:
            return list("[", "]", [&] { return of_depth(depth - 1); });
        default:
            return list("{", "}", [&] { return text() + ":" + of_depth(depth - 1); });
        }
    }

    template <typename Element>
    std::string list(const char* begin, const char* end, const Element& element) {
        std::string all = begin;
        for (std::size_t left = below(4); left > 0; --left) {
            all += element() + (left > 1 ? "," : "");
        }
        return all + end;
    }

    std::string text() {
        constexpr std::array characters = {"a",      "{",      "[",       "\\\"",   "\\\\",
                                           "/",      "\\n",    "\\u0001", "\x7f",   "\u0080",
                                           "\u009f", "\u00a0", "\u00e4",  "\u20ac", "\U0001f600"};
        std::string all = "\"";
        for (std::size_t left = below(6); left > 0; --left) {
            all += characters[below(characters.size())];
        }
        return all + "\"";
    }

    std::size_t below(std::size_t limit) { return random_() % limit; }

    std::mt19937_64 random_{1};
};

std::string written(json_t* value, bool for_terminal) {
    qx::manage::OutputText text;
    qx::manage::JsonWriter(text, for_terminal).value(value);
    return {text.data(), text.size()};
}

/// Escapes DEL and the C1 control characters, which jansson does not escape.
std::string escaped(std::string text) {
    for (const auto& [raw, shown] : {std::pair("\x7f", "\\u007F"), std::pair("\u0080", "\\u0080"),
                                     std::pair("\u009f", "\\u009F")}) {
        for (std::size_t at = 0; (at = text.find(raw, at)) != std::string::npos;) {
            text.replace(at, std::string(raw).size(), shown);
        }
    }
    return text;
}

TEST(JsonWriter, WritesTheSameTextAsJansson) {
    Documents documents;
    for (int i = 0; i < 20'000; ++i) {
        const std::string document = "[" + documents.next() + "]";
        const qx::json_ptr value(::json_loads(document.c_str(), 0, nullptr));
        ASSERT_TRUE(value) << document;
        const qx::text_ptr line(::json_dumps(value.get(), 0));
        const qx::text_ptr lines(::json_dumps(value.get(), JSON_INDENT(4)));
        ASSERT_EQ(written(value.get(), false), line.get());
        ASSERT_EQ(written(value.get(), true), escaped(lines.get()));
    }
}

} // namespace
