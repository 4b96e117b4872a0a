#include "qx/path.h"

#include <gtest/gtest.h>

namespace {

using qx::path;

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

TEST(Path, CopiesAreIndependent) {
    path original;
    original.add_piece(true, "/" + std::string(300, 'a'));
    path copy(original);
    copy.add_piece(false, "b");
    EXPECT_EQ(original.to_string(), "/" + std::string(300, 'a'));
    EXPECT_EQ(copy.to_string(), original.to_string() + "/b");
}

} // namespace
