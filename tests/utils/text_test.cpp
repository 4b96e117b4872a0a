// Texts: views, streams, paths and what formats them.
#include "qx/escape.h"
#include "qx/format.h"
#include "qx/println.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

using qx::basic_membuf;
using qx::basic_memstream;
using qx::path;
using qx::string_view;
using Texts = std::vector<std::string>;

TEST(StringView, SplitsAtEverySeparator) {
    const struct {
        const char* text;
        const char* separator;
        Texts pieces;
        unsigned long max = string_view::unlimited;
    } cases[] = {
        {"", ",", {}},
        {"a,,b", ",", {"a", "", "b"}},
        {",b", ",", {"", "b"}},
        {"a,", ",", {"a", ""}},
        {"=", "=", {"", ""}},
        {"a=b=c", "=", {"a", "b", "c"}},
        {"a--b-c-", "--", {"a", "b-c-"}},
        {"a---b", "--", {"a", "-b"}},
        {"aab", "ab", {"a", ""}},
        {"-", "--", {"-"}},
        {"ab", "", {"ab"}},
        {"a,b,c", ",", {"a", "b,c"}, 2},
        {"a,", ",", {"a", ""}, 2},
        {"a,b,c", ",", {"a", "b,c"}, 1},
        {"a,b,c", ",", {"a", "b", "c"}, 0},
    };
    for (const auto& each : cases) {
        Texts pieces;
        for (const string_view& piece : string_view(each.text).split(each.separator, each.max)) {
            pieces.push_back(piece.to_string());
        }
        EXPECT_EQ(pieces, each.pieces) << each.text << " at most " << each.max;
    }
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
    basic_memstream stream(4);
    stream << "0123456789";
    stream.truncate(3);
    stream << "ab";
    EXPECT_STREQ(stream.sview().data(), "012ab");
    EXPECT_EQ(basic_membuf(-1).requested_capacity(), -1);
    EXPECT_EQ(basic_membuf(7).requested_capacity(), 7);
}

std::string joined(const std::vector<std::string>& pieces, bool first) {
    path built;
    for (const std::string& piece : pieces) {
        built.add_piece(first, piece);
        first = false;
    }
    return built.to_string();
}

TEST(Path, JoinsPiecesWithOneSlash) {
    EXPECT_EQ(joined({"/cirrel/qxnc_ini"}, true), "/cirrel/qxnc_ini");
    EXPECT_EQ(joined({"/a", "b", "c"}, true), "/a/b/c");
    EXPECT_EQ(joined({"/a//", "//b/"}, true), "/a/b/");
    EXPECT_EQ(joined({"a", "", "/", "b"}, true), "a/b");
    EXPECT_EQ(joined({"/", "b"}, true), "/b");
    EXPECT_EQ(joined({"", "b"}, true), "b");
    EXPECT_EQ(joined({"//b"}, false), "b");
}

TEST(Path, TakesEveryKindOfPiece) {
    path built(qx::common_path::configuration);
    const char* const name = "certs";
    built.add_piece(true, "init.d");
    built.add_piece(false, name);
    built.add_piece(false, qx::string_view("file.txt", 4));
    EXPECT_EQ(built.to_string(), "/opt/norvane/etc/init.d/certs/file");

    path programs;
    qx::common_path directory = qx::common_path::programs;
    programs.add_piece(true, directory);
    EXPECT_EQ(programs.to_string(), "/opt/norvane/bin");
}

// What `print` hands to an unbuffered stream, write by write.
template <typename Print>
Texts writes_of(const Print& print) {
    Texts writes;
    cookie_io_functions_t functions{};
    functions.write = [](void* cookie, const char* text, std::size_t size) {
        static_cast<Texts*>(cookie)->emplace_back(text, size);
        return static_cast<ssize_t>(size);
    };
    std::FILE* const stream = ::fopencookie(&writes, "w", functions);
    std::setvbuf(stream, nullptr, _IONBF, 0);
    print(stream);
    std::fclose(stream);
    return writes;
}

TEST(Println, WritesEachLineAtOnce) {
    const std::string longer(5000, 'x');
    EXPECT_EQ(writes_of([&](std::FILE* stream) {
                  qx::println(stream, "a {{literal}} line");
                  qx::println(stream, "{:s}: {}", longer, true);
                  qx::println(stream, "");
              }),
              (Texts{"a {literal} line\n", longer + ": true\n", "\n"}));
}

TEST(Println, WritesTheErrorRecord) {
    const auto print = [](std::FILE* stream) { qx::println(stream, "{}", qx::_get_qxerrno()); };
    EXPECT_EQ(writes_of(print), Texts{"(ok) no error\n"});
    qx::set_qxerrno(3, "a longer class than the next one", std::string(500, 'x'));
    qx::set_qxerrno(1, "A", "B");
    EXPECT_EQ(writes_of(print), Texts{"(A) B\n"});
}

TEST(Escape, EscapesWhatATerminalWouldActOn) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"{\"a ~\": 1}", "{\"a ~\": 1}"},
        {"a\n\tb", R"(a\x0a\x09b)"},
        {"\x7f", R"(\x7f)"},
        {"\xc2\x80\xc2\x9f\xc2\xa0", "\\xc2\\x80\\xc2\\x9f\xc2\xa0"},
        {"\x9b\xff\xc2", R"(\x9b\xff\xc2)"},
        {"\xe2\x82\xac", "\xe2\x82\xac"},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(qx::shown(text), shown);
    }
}

TEST(Format, ViewTakesStringSpecifications) {
    const qx::string_view text("abcdef", 5);
    const auto formatted = [&](const char* format, int number) {
        return fmt::format(fmt::runtime(format), text, number);
    };
    EXPECT_EQ(formatted("{}", 0), "abcde");
    EXPECT_EQ(formatted("{:*^9s}", 0), "**abcde**");
    EXPECT_EQ(formatted("[{:>6.2}]", 0), "[    ab]");
    EXPECT_EQ(formatted("[{:<{}}]", 7), "[abcde  ]");
    EXPECT_EQ(formatted("{:.{}}", 3), "abc");
    EXPECT_THROW(formatted("{:d}", 0), fmt::format_error);
    EXPECT_EQ(fmt::format("[{:s}]", qx::string_view()), "[]");
}

} // namespace
