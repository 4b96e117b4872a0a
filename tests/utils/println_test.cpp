#include "qx/format.h"
#include "qx/println.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

using Writes = std::vector<std::string>;

// What `print` hands to an unbuffered stream, write by write.
template <typename Print>
Writes writes_of(const Print& print) {
    Writes writes;
    cookie_io_functions_t functions{};
    functions.write = [](void* cookie, const char* text, std::size_t size) {
        static_cast<Writes*>(cookie)->emplace_back(text, size);
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
              (Writes{"a {literal} line\n", longer + ": true\n", "\n"}));
}

TEST(Println, ForwardsFormatErrors) {
    EXPECT_TRUE(writes_of([](std::FILE* stream) {
                    EXPECT_THROW(qx::println(stream, "{"), fmt::format_error);
                    EXPECT_THROW(qx::println(stream, "{}"), fmt::format_error);
                }).empty());
}

TEST(Println, WritesTheErrorRecord) {
    const auto print = [](std::FILE* stream) { qx::println(stream, "{}", qx::_get_qxerrno()); };
    EXPECT_EQ(writes_of(print), Writes{"(ok) no error\n"});
    qx::set_qxerrno(1, "A", "B");
    EXPECT_EQ(writes_of(print), Writes{"(A) B\n"});
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:s}"), qx::_get_qxerrno())),
                 fmt::format_error);
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

TEST(Format, PathTakesNone) {
    qx::path path;
    path.add_piece(true, "/a/b");
    EXPECT_EQ(fmt::format(fmt::runtime("'{}'"), path), "'/a/b'");
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:s}"), path)), fmt::format_error);
}

} // namespace
