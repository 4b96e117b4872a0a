#include "install_path.h"
#include "qxpath.h"
#include "world.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using namespace qx::test;
using qxplix::qxpath_set_install_path;

constexpr const char* kLink = "/etc/norvane-plix";

class InstallPath : public ::testing::Test {
protected:
    InstallPath() {
        fs::create_directories("/opt/agent");
        fs::create_directories("/opt/other");
    }

    static std::string found() {
        qxpath_set_install_path(nullptr);
        const char* const path = qxpath_default_install_path();
        return path == nullptr ? "(none)" : path;
    }

    static void passwd(const std::string& lines) { write_file("/etc/passwd", lines); }
};

TEST_F(InstallPath, IsFoundByLinkThenByUserThenByName) {
    EXPECT_EQ(found(), "(none)");
    fs::create_directories(kInstallDir);
    EXPECT_EQ(found(), kInstallDir);
    passwd("root:x:0:0:root:/root:/bin/sh\nnorvane-plix:x:7:7::/home/missing:/bin/false\n");
    EXPECT_EQ(found(), "/home/missing");
    fs::create_symlink("/opt/agent/etc", kLink);
    EXPECT_EQ(found(), "/opt/agent");
}

TEST_F(InstallPath, ALinkThatLeadsNowhereIsIgnored) {
    fs::create_directories(kInstallDir);
    fs::create_directories("/opt/agent/config");
    const std::string endless(4091, 'x');
    for (const std::string& target :
         {std::string("/opt/agent/config"), std::string("/opt/missing/etc"), std::string("/etc"),
          std::string("etc"), std::string("/opt/agent/etc/"), std::string("/opt/agent/ETC"),
          endless + "/etc"}) {
        std::error_code impossible;
        fs::create_symlink(target, kLink, impossible);
        EXPECT_EQ(found(), kInstallDir) << target;
        fs::remove(kLink);
    }
    write_file(kLink, "no link at all");
    EXPECT_EQ(found(), kInstallDir);
}

TEST_F(InstallPath, ReadsThePasswdFileLineByLine) {
    fs::create_directories(kInstallDir);
    const std::string good = "norvane-plix:x:7:7:comment:/opt/agent:/bin/false\n";
    const std::string wide(5000, 'x');
    const struct {
        std::string lines;
        std::string path;
    } cases[] = {
        {good, "/opt/agent"},
        {"# norvane-plix:x:7:7::/opt/other:\n#:\n" + good, "/opt/agent"},
        {"norvane-plix2:x:7:7::/opt/other:\nnorvane:x:7:7::/opt/other:\n" + good, "/opt/agent"},
        {good + "norvane-plix:x:7:7::/opt/other:\n", "/opt/agent"},
        {"norvane-plix:x:7:7:comment:/opt/agent\n", kInstallDir},
        {"norvane-plix:x:7:7\n" + good, kInstallDir},
        {"norvane-plix:x:7:7:comment:/opt/agent:/bin/false", kInstallDir},
        {"a line without colons\n" + good, kInstallDir},
        {"\n" + good, kInstallDir},
        {"wide:" + wide + "\n" + good, kInstallDir},
        {"", kInstallDir},
    };
    for (const auto& c : cases) {
        passwd(c.lines);
        EXPECT_EQ(found(), c.path) << c.lines.substr(0, 100);
    }
}

TEST_F(InstallPath, WhatIsSetHoldsUntilItIsSetAgain) {
    EXPECT_EQ(qxpath_set_install_path("/opt/other"), 0);
    EXPECT_STREQ(qxpath_default_install_path(), "/opt/other");
    fs::create_directories(kInstallDir);
    qxpath_set_install_path("/opt/other");
    EXPECT_STREQ(qxpath_default_install_path(), kInstallDir.c_str());
    // The answer stands, though a better one has come, until it is asked for anew.
    fs::create_symlink("/opt/agent/etc", kLink);
    EXPECT_STREQ(qxpath_default_install_path(), kInstallDir.c_str());
    qxpath_set_install_path(nullptr);
    EXPECT_STREQ(qxpath_default_install_path(), "/opt/agent");
    qxpath_set_install_path(std::string(5000, 'x').c_str());
    EXPECT_EQ(qxpath_default_install_path(), std::string(4095, 'x'));
    // A part of the text that is stored.
    qxpath_set_install_path(qxpath_default_install_path() + 4000);
    EXPECT_EQ(qxpath_default_install_path(), std::string(95, 'x'));
}

} // namespace
