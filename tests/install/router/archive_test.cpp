// What goes to routers: the archive, and how the program in it behaves there.

#include "broker_client.h"
#include "installed.h"

#include <gmock/gmock.h>

#include <sstream>

namespace fs = std::filesystem;

namespace {

using qx::test::kEmulated;
using qx::test::Outcome;
using qx::test::run;

const std::string kTool = "usr/sbin/qxagent-manage";

class Archive : public ::testing::Test {
protected:
    [[nodiscard]] fs::path unpacked() const {
        EXPECT_EQ(run({"tar", "-xzf", archive, "-C", directory.path()}).status, 0);
        return directory.path() / kTool;
    }

    const qx::test::TemporaryDirectory directory;
    const fs::path build = QX_BUILD_DIR;
    const fs::path archive = build / QX_ROUTER_ARCHIVE;
};

TEST_F(Archive, HoldsTheToolAndNothingElse) {
    const Outcome checked =
        run({"sh", "-c", "cd '" + build.string() + "' && sha256sum --check *.sha256"});
    EXPECT_EQ(checked.out, std::string(QX_ROUTER_ARCHIVE) + ": OK\n") << checked.err;
    EXPECT_THAT(run({"tar", "-tvzf", archive}).out,
                testing::MatchesRegex("-rwxr-xr-x 0/0 +[0-9]+ [-0-9]+ [:0-9]+ " + kTool + "\n"));
}

TEST_F(Archive, RunsWhereItIsUnpacked) {
    std::vector<std::string> words{unpacked(), "help"};
    if (kEmulated) {
        words.insert(words.begin(), QX_EMULATOR);
    }
    const Outcome help = run(words);
    EXPECT_EQ(help.status, 0) << help.err;
    EXPECT_EQ(help.out, qx::test::frozen("usage.txt"));
}

TEST_F(Archive, NeedsNoLibraryAndNoLoader) {
    const Outcome headers = run({"readelf", "-lW", unpacked()});
    EXPECT_THAT(headers.out, testing::HasSubstr("\n  LOAD "));
    EXPECT_THAT(headers.out, testing::Not(testing::ContainsRegex("INTERP|DYNAMIC")));
}

// No locale, no name service, no time zone. /dev/urandom is for jansson's hashing.
TEST(RouterTool, OpensWhatItIsAboutAndNothingElse) {
    fs::create_directories(qx::test::kInstallDir / "var/log");
    const qx::test::Simulator broker;
    std::vector<std::string> words{"strace", "-f", "-e", "trace=open,openat,openat2"};
    if (kEmulated) {
        words = {QX_EMULATOR, "-strace"};
    }
    words.insert(words.end(), {fs::path(QX_BUILD_DIR) / "bin/qxagent-manage", "is_enabled"});
    const Outcome traced = run(words);
    ASSERT_EQ(traced.status, 0) << traced.err;
    std::vector<std::string> opened;
    std::istringstream lines(traced.err);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t name = line.find('"') + 1;
        if (line.find("open") < name) {
            opened.push_back(line.substr(name, line.find('"', name) - name));
        }
    }
    const std::string agent = qx::test::kInstallDir;
    const std::string log = agent + "/var/log/qxagent-manage.log";
    const std::vector<std::string> expected{"/etc/passwd",  log,
                                            log + ".1",     agent + "/etc/settings.json",
                                            "/dev/urandom", agent + "/var/run/qxbrokerd.version"};
    EXPECT_EQ(opened, expected);
}

} // namespace
