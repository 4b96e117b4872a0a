// What goes to routers: the archive, and how the program in it behaves there.

#include "installed.h"

namespace {

using namespace qx::test;

const std::string kTool = "usr/sbin/qxagent-manage";

class Archive : public ::testing::Test {
protected:
    [[nodiscard]] fs::path unpacked() const {
        output_of({"tar", "-xzf", archive, "-C", directory.path()});
        return directory.path() / kTool;
    }

    const TemporaryDirectory directory;
    const fs::path build = QX_BUILD_DIR;
    const fs::path archive = build / QX_ROUTER_ARCHIVE;
};

TEST_F(Archive, HoldsTheToolAndNothingElse) {
    EXPECT_EQ(output_of({"sh", "-c", "cd '" + build.string() + "' && sha256sum --check *.sha256"}),
              std::string(QX_ROUTER_ARCHIVE) + ": OK\n");
    EXPECT_THAT(run({"tar", "-tvzf", archive}).out,
                testing::MatchesRegex("-rwxr-xr-x 0/0 +[0-9]+ [-0-9]+ [:0-9]+ " + kTool + "\n"));
}

TEST_F(Archive, RunsWhereItIsUnpacked) {
    std::vector<std::string> words{unpacked(), "help"};
    if (kEmulated) {
        words.insert(words.begin(), QX_EMULATOR);
    }
    EXPECT_EQ(output_of(words), frozen("usage.txt"));
}

TEST_F(Archive, NeedsNoLibraryAndNoLoader) {
    EXPECT_THAT(output_of({"readelf", "-ldW", unpacked()}),
                testing::AllOf(testing::HasSubstr("\n  LOAD "),
                               testing::Not(testing::ContainsRegex("INTERP|NEEDED"))));
}

// No locale, no name service, no time zone. /dev/urandom is for jansson's hashing.
TEST(RouterTool, OpensWhatItIsAboutAndNothingElse) {
    fs::create_directories(kInstallDir / "var/log");
    const Simulator broker;
    std::vector<std::string> words{"strace", "-f", "-e", "trace=open,openat,openat2"};
    if (kEmulated) {
        words = {QX_EMULATOR, "-strace"};
    }
    words.insert(words.end(), {fs::path(QX_BUILD_DIR) / "bin/qxagent-manage", "is_enabled"});
    const Outcome traced = run(words);
    ASSERT_EQ(traced.status, 0) << traced.err;
    std::vector<std::string> opened;
    for (const std::string& line : lines_of(traced.err)) {
        const std::size_t name = line.find('"') + 1;
        if (line.find("open") < name) {
            opened.push_back(line.substr(name, line.find('"', name) - name));
        }
    }
    const std::vector<std::string> expected{"/etc/passwd", kLogFile,       kLogFile.string() + ".1",
                                            kSettingsFile, "/dev/urandom", kVersionFile};
    EXPECT_EQ(opened, expected);
}

} // namespace
