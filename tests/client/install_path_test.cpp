#include "install_path.h"
#include "qxpath.h"
#include "world.h"

#include <gtest/gtest.h>

namespace {

using namespace qx::test;
using qxplix::qxpath_set_install_path;

constexpr const char* kLink = "/etc/norvane-plix";

class InstallPath : public ::testing::Test {
protected:
    InstallPath() {
        fs::create_directories("/opt/agent/config");
        fs::create_directories("/opt/other");
    }

    static std::string found() {
        qxpath_set_install_path(nullptr);
        const char* const path = qxpath_default_install_path();
        return path == nullptr ? "(none)" : path;
    }
};

TEST_F(InstallPath, PrefersTheLinkThenTheUserThenTheDefault) {
    EXPECT_EQ(found(), "(none)");
    fs::create_directories(kInstallDir);
    EXPECT_EQ(found(), kInstallDir);
    write_file("/etc/passwd", "root:x:0:0:root:/root:/bin/sh\n"
                              "norvane-plix:x:7:7::/home/missing:/bin/false\n");
    EXPECT_EQ(found(), "/home/missing");
    fs::create_symlink("/opt/agent/etc", kLink);
    EXPECT_EQ(found(), "/opt/agent");
}

TEST_F(InstallPath, IgnoresAnUnusableLink) {
    fs::create_directories(kInstallDir);
    for (const std::string target :
         {"/opt/agent/config", "/opt/missing/etc", "/etc", "etc", "/opt/agent/etc/"}) {
        fs::create_symlink(target, kLink);
        EXPECT_EQ(found(), kInstallDir) << target;
        fs::remove(kLink);
    }
    write_file(kLink, "no link at all");
    EXPECT_EQ(found(), kInstallDir);
}

TEST_F(InstallPath, ComesFromTheUsersFirstPasswdLineUnlessAMalformedLinePrecedes) {
    fs::create_directories(kInstallDir);
    const std::string good = "norvane-plix:x:7:7:comment:/opt/agent:/bin/false\n";
    const std::string other = "norvane-plix:x:7:7::/opt/other:\n";
    const std::pair<std::string, std::string> cases[] = {
        {good, "/opt/agent"},
        {good + other, "/opt/agent"},
        {"# a comment\n#" + other + good, "/opt/agent"},
        {"norvane-plix2:x:7:7::/opt/other:\nnorvane:x:7:7::/opt/other:\n" + good, "/opt/agent"},
        {"norvane-plix:x:7:7:comment:/opt/agent\n", kInstallDir},
        {"norvane-plix:x:7:7\n" + good, kInstallDir},
        {good.substr(0, good.size() - 1), kInstallDir},
        {"a line without colons\n" + good, kInstallDir},
        {"\n" + good, kInstallDir},
        {"wide:" + std::string(5000, 'x') + "\n" + good, kInstallDir},
        {"", kInstallDir},
    };
    for (const auto& [lines, path] : cases) {
        write_file("/etc/passwd", lines);
        EXPECT_EQ(found(), path) << lines.substr(0, 100);
    }
}

TEST_F(InstallPath, IsCachedUntilItIsSetAgain) {
    EXPECT_EQ(qxpath_set_install_path("/opt/other"), 0);
    EXPECT_STREQ(qxpath_default_install_path(), "/opt/other");
    fs::create_directories(kInstallDir);
    // Setting the current path again makes the library look up the default.
    qxpath_set_install_path("/opt/other");
    EXPECT_STREQ(qxpath_default_install_path(), kInstallDir.c_str());
    // A new link does not replace the cached path.
    fs::create_symlink("/opt/agent/etc", kLink);
    EXPECT_STREQ(qxpath_default_install_path(), kInstallDir.c_str());
    EXPECT_EQ(found(), "/opt/agent");
    qxpath_set_install_path(std::string(5000, 'x').c_str());
    EXPECT_EQ(qxpath_default_install_path(), std::string(4095, 'x'));
    // The argument may point into the cached path.
    qxpath_set_install_path(qxpath_default_install_path() + 4000);
    EXPECT_EQ(qxpath_default_install_path(), std::string(95, 'x'));
}

} // namespace
