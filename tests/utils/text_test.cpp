// String views, memory streams, paths and formatted output.
#include "answers.h"
#include "qx/escape.h"
#include "qx/format.h"
#include "qx/println.h"

#include <cstdio>

namespace {

using qx::basic_membuf;
using qx::basic_memstream;
using qx::path;
using qx::string_view;
using testing::ElementsAre;

std::string changed_text(const std::vector<std::string>& words) {
    std::string answer;
    if (words[0] == "split") {
        const unsigned long max = words.size() > 3 ? std::stoul(words[3]) : string_view::unlimited;
        for (const string_view piece : string_view(words[1]).split(words[2], max)) {
            answer += "[" + piece.to_string() + "]";
        }
        return answer;
    }
    if (words[0] == "show") {
        return qx::shown(words[1]);
    }
    path joined;
    for (std::size_t i = 1; i < words.size(); ++i) {
        joined.add_piece(i == 1, words[i]);
    }
    return joined.to_string();
}

TEST(Texts, AreSplitJoinedAndEscapedAsInTheTranscript) {
    qx::test::expect_answers("texts", changed_text);
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
        EXPECT_EQ(stream.sview().data() == nullptr, capacity == -1)
            << "only a stream of capacity -1 has no buffer before the first write";
        for (int i = 0; i < 300; ++i) {
            stream << i << '.';
            stream.put('x');
            expected += std::to_string(i) + ".x";
            ASSERT_EQ(stream.sview().to_string(), expected) << capacity;
            ASSERT_STREQ(stream.sview().data(), expected.c_str());
        }
        stream.truncate(3);
        stream << "ab";
        EXPECT_STREQ(stream.sview().data(), "0.xab");
        EXPECT_EQ(basic_membuf(capacity).requested_capacity(), capacity);
    }
}

TEST(Path, JoinsPiecesOfEveryType) {
    path built(qx::common_path::configuration);
    const char* const name = "certs";
    built.add_piece(true, "init.d");
    built.add_piece(false, name);
    built.add_piece(false, string_view("file.txt", 4));
    EXPECT_EQ(built.to_string(), "/opt/norvane/etc/init.d/certs/file");
    path relative;
    relative.add_piece(false, "//b");
    EXPECT_EQ(relative.to_string(), "b");
    path programs;
    const qx::common_path directory = qx::common_path::programs;
    programs.add_piece(true, directory);
    EXPECT_EQ(programs.to_string(), "/opt/norvane/bin");
}

TEST(Println, WritesEachLineInOneCall) {
    std::vector<std::string> writes;
    cookie_io_functions_t functions{};
    functions.write = [](void* cookie, const char* text, std::size_t size) {
        static_cast<std::vector<std::string>*>(cookie)->emplace_back(text, size);
        return static_cast<ssize_t>(size);
    };
    std::FILE* const stream = ::fopencookie(&writes, "w", functions);
    std::setvbuf(stream, nullptr, _IONBF, 0);
    const std::string longer(5000, 'x');
    qx::println(stream, "a {{literal}} line");
    qx::println(stream, "{:s}: {}", longer, true);
    qx::println(stream, "");
    qx::println(stream, "{}", qx::_get_qxerrno());
    qx::set_qxerrno(3, "a longer class than the next one", longer);
    qx::set_qxerrno(1, "A", "B");
    qx::println(stream, "{}", qx::_get_qxerrno());
    std::fclose(stream);
    EXPECT_THAT(writes, ElementsAre("a {literal} line\n", longer + ": true\n", "\n",
                                    "(ok) no error\n", "(A) B\n"));
}

TEST(StringView, AcceptsFormatOptionsOfStrings) {
    const string_view text("abcdef", 5);
    EXPECT_EQ(fmt::format("{} {:*^9s} [{:>6.2}]", text, text, text), "abcde **abcde** [    ab]");
    EXPECT_EQ(fmt::format("[{:<{}}] {:.{}}", text, 7, text, 3), "[abcde  ] abc");
    EXPECT_EQ(fmt::format("[{:s}]", string_view()), "[]");
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:d}"), text)), fmt::format_error);
}

} // namespace
