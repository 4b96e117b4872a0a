#include "answers.h"
#include "base/descriptor.h"
#include "forked.h"
#include "process.h"
#include "qx/error.h"
#include "qx/io.h"
#include "qx/log.h"
#include "qx/settings.h"

#include <fcntl.h>
#include <functional>
#include <regex>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using qx::setMgmt;
using namespace qx::test;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

const fs::path kSettingsDirectory = kInstallDir / "etc";
const fs::path kLock = kSettingsFile.string() + ".lock";

int last_error() {
    return qx::_get_qxerrno().number;
}

std::string last_reason() {
    return qx::_get_qxerrno().second.sview().to_string();
}

std::vector<std::string> names_in_directory() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(kSettingsDirectory)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

class Settings : public testing::Test {
protected:
    void SetUp() override {
        ::umask(0);
        fs::create_directory(kInstallDir);
        ASSERT_TRUE(qx::log::start("tool", nullptr));
    }

    static std::vector<std::string> log() {
        return lines_of(read_file(kInstallDir / "var/log/tool.log"));
    }

    static void mount_disk(const char* type = "tmpfs", const char* options = "size=32k,mode=0755") {
        fs::create_directory(kSettingsDirectory);
        require(::mount(type, kSettingsDirectory.c_str(), type, 0, options) == 0, "mount");
    }
};

std::string answer_to(const std::vector<std::string>& words) {
    const std::string& call = words[0];
    if (call == "file") {
        write_file(kSettingsFile, words[1]);
        return "written";
    }
    if (call == "show") {
        return fs::exists(kSettingsFile) ? read_file(kSettingsFile) : "(no file)";
    }
    if (call == "get") {
        return setMgmt::getKeyValue(words[1], std::string("(none)"));
    }
    if (call == "number") {
        return std::to_string(setMgmt::getKeyValue(words[1], 99));
    }
    const int result = call == "init"     ? setMgmt::init()
                       : call == "delete" ? setMgmt::deleteKey(words[1])
                       : call == "set"    ? setMgmt::setKey(words[1], words[2])
                                          : (setMgmt::uninit(), 0);
    return result == 0 ? "0" : fmt::format("{} {}", result, last_error());
}

TEST_F(Settings, BehaveAsInTheTranscript) {
    expect_answers("settings", answer_to);
}

TEST_F(Settings, AreStoredOnlyInAnExistingInstallDirectory) {
    EXPECT_EQ(qx::kCirrelEntrypointsKey.to_string(), "/cirrel/entrypoints");
    EXPECT_EQ(qx::kCirrelCaFileDefault.to_string(), "/opt/norvane/etc/certs/ca-certificates.crt");
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::getKeyValue("a", 7), 7);
    EXPECT_FALSE(fs::exists(kSettingsDirectory));
    EXPECT_EQ(setMgmt::setKey("a", "1"), 0);
    EXPECT_THAT(names_in_directory(), UnorderedElementsAre("settings.json", "settings.json.lock"));
    fs::remove_all(kInstallDir);
    EXPECT_EQ(setMgmt::setKey("a", "2"), -1);
    EXPECT_EQ(last_error(), 2);
    EXPECT_FALSE(fs::exists(kInstallDir));
}

TEST_F(Settings, FilesAreMode0600WhateverTheUmask) {
    write_file(kSettingsFile, "{\"a\": \"1\"}");
    fs::permissions(kSettingsFile, fs::perms(0664));
    fs::permissions(kSettingsDirectory, fs::perms(0777));
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::deleteKey("b"), -1);
    EXPECT_EQ(mode(kSettingsFile), fs::perms(0664)) << "only a write changes the mode";
    EXPECT_THAT(log(), IsEmpty());
    for (const mode_t umask : {0U, 0777U}) {
        ::umask(umask);
        fs::remove(kLock);
        EXPECT_EQ(setMgmt::setKey("a", "2"), 0);
        EXPECT_EQ(mode(kSettingsFile), fs::perms(0600));
        EXPECT_EQ(mode(kLock), fs::perms(0600));
    }
    EXPECT_THAT(log(), ElementsAre(HasSubstr("Others can write to the settings directory")));
    fs::remove_all(kSettingsDirectory);
    EXPECT_EQ(setMgmt::setKey("a", "2"), 0);
    EXPECT_EQ(mode(kSettingsDirectory), fs::perms(0755));
}

TEST_F(Settings, OfAnotherUserAreUsedWithAWarning) {
    const auto give = [](const fs::path& file, uid_t uid) {
        return ::chown(file.c_str(), uid, 0) == 0;
    };
    const auto write = [] {
        ASSERT_EQ(setMgmt::init(), 0);
        EXPECT_EQ(setMgmt::setKey("a", "1"), 0);
    };
    write_file(kSettingsFile, "{}");
    if (!give(kSettingsFile, 1234)) {
        GTEST_SKIP() << "only root can create files of another user";
    }
    fs::permissions(kSettingsDirectory, fs::perms(0755));
    write();
    EXPECT_THAT(log(), ElementsAre(EndsWith("settings.json' belong to another user (1234)")));
    ASSERT_TRUE(give(kInstallDir, 1234));
    write();
    EXPECT_EQ(log().size(), 1) << "the owner of the install directory is trusted";
    ASSERT_TRUE(give(kInstallDir, 0));
    write_file("/etc/passwd", "norvane-plix:x:1234:1234::/opt/norvane:/bin/false\n");
    write();
    EXPECT_EQ(log().size(), 1) << "the agent's user is trusted";
}

TEST_F(Settings, AreReportedAndStayUnchangedWhenDamaged) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "is empty"},
        {"\n", "is not JSON (line "},
        {"{", "is not JSON (line 1, column 1)"},
        {"[]", "is not an object"},
        {"{\"a\\n\":1}", "the value of \"a\\n\" is not a string"},
        {"{\"a\":{}}", "the value of \"a\" is not a string"},
        {"{\"a\":\"1\"} x", "is not JSON (line 1, "},
        {"{\"a\":\"\xff\"}", "is not JSON (line 1, "},
        {"{\"a\\u0000\":\"1\"}", "is not JSON (line 1, "},
        {"{\"token\": \"secret\" secret}", "is not JSON (line 1, "},
    };
    for (const auto& [text, reason] : cases) {
        write_file(kSettingsFile, "{\"a\": \"1\"}");
        ASSERT_EQ(setMgmt::init(), 0);
        write_file(kSettingsFile, text); // another process damages the file
        fs::permissions(kSettingsFile, fs::perms(0664));
        EXPECT_EQ(answer_to({"set", "/b", "2"}), "-1 3") << text;
        EXPECT_EQ(answer_to({"delete", "a"}), "-1 3");
        EXPECT_EQ(setMgmt::getKeyValue("a", 0), 1);
        EXPECT_EQ(answer_to({"init"}), "-1 3") << text;
        EXPECT_THAT(last_reason(), StartsWith("/opt/norvane/etc/settings.json: " + reason));
        EXPECT_THAT(last_reason(), Not(HasSubstr("secret")));
        EXPECT_THAT(log().back(), EndsWith("Cannot read the settings: " + last_reason()));
        EXPECT_EQ(setMgmt::setKey("/b", "2"), -1);
        EXPECT_EQ(read_file(kSettingsFile), text);
        EXPECT_EQ(mode(kSettingsFile), fs::perms(0664));
    }
}

TEST_F(Settings, AreNotReplacedWhenTheyCannotBeRead) {
    const std::pair<std::function<void()>, const char*> obstacles[] = {
        {[] { fs::create_symlink("/opt/other", kSettingsFile); }, "settings.json: is a link"},
        {[] { fs::create_directory(kSettingsFile); }, "settings.json: is not a regular file"},
        {[] { ::mkfifo(kSettingsFile.c_str(), 0600); }, "settings.json: is not a regular file"},
        {[] { write_file(kSettingsFile, std::string((16 << 20) + 1, ' ')); },
         "settings.json: is larger than 16 MiB"},
    };
    write_file("/opt/other", "{}");
    fs::create_directory(kSettingsDirectory);
    for (const auto& [put_obstacle, reason] : obstacles) {
        fs::remove(kSettingsFile);
        ASSERT_EQ(setMgmt::init(), 0);
        put_obstacle();
        const fs::file_type type = fs::symlink_status(kSettingsFile).type();
        EXPECT_EQ(answer_to({"set", "a", "1"}), "-1 2");
        EXPECT_LT(setMgmt::init(), 0);
        EXPECT_THAT(last_reason(), EndsWith(reason));
        EXPECT_EQ(fs::symlink_status(kSettingsFile).type(), type);
    }
    EXPECT_EQ(read_file("/opt/other"), "{}");
}

TEST_F(Settings, StayUnchangedWhenTheyCannotBeWritten) {
    mount_disk();
    ASSERT_EQ(setMgmt::init(), 0);
    ASSERT_EQ(setMgmt::setKey("a", "1"), 0);
    const auto descriptors = open_descriptors();
    const auto expect_refused = [&](std::size_t size, const std::string& reason) {
        EXPECT_EQ(answer_to({"set", "a", std::string(size, 'x')}), "-1 2");
        EXPECT_THAT(last_reason(), HasSubstr(reason));
        EXPECT_EQ(read_file(kSettingsFile), "{\"a\": \"1\"}\n");
        EXPECT_EQ(setMgmt::getKeyValue("a", 0), 1);
        EXPECT_EQ(open_descriptors(), descriptors);
    };
    expect_refused(100'000, "No space left on device");
    expect_refused(std::size_t{16} << 20, "settings.json: would be larger than 16 MiB");
    EXPECT_THAT(names_in_directory(), UnorderedElementsAre("settings.json", "settings.json.lock"));
    fs::create_directory(kSettingsFile.string() + ".tmp");
    expect_refused(1, "settings.json.tmp: cannot be written");
    fs::remove(kLock);
    fs::create_symlink("/opt/outside", kLock);
    expect_refused(1, "settings.json.lock: is a link");
    fs::remove(kLock);
    ASSERT_EQ(::mount("tmpfs", kSettingsDirectory.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);
    expect_refused(1, "Read-only file system");
}

const fs::path kFill = kSettingsDirectory / "fill";

void fill_disk() {
    const qx::io::descriptor fd(::open(kFill.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    while (qx::io::write_all(fd.get(), std::string(512, 'x'))) {
    }
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(Settings, AcceptAReservedChangeOnAFullDisk) {
    const fs::path space = kSettingsFile.string() + ".reserve";
    const std::size_t size = std::string("{\"on\": \"1\"}\n").size() + 4096;
    constexpr int punch = FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE;
    // Without `overwrites`, a hole punched into the reserve simulates a copy-on-write file system.
    for (const bool overwrites : {true, false}) {
        mount_disk();
        write_file(space, "left by a killed process");
        ASSERT_EQ(setMgmt::init(), 0);
        ASSERT_EQ(setMgmt::setKey("on", "0"), 0);
        const auto descriptors = open_descriptors();
        {
            const qx::settings_reserve reserve("on", "1");
            ASSERT_TRUE(reserve) << last_reason();
            EXPECT_EQ(fs::file_size(space), size);
            EXPECT_EQ(setMgmt::setKey("other", "1"), 0);
            qx::io::descriptor file(::open(space.c_str(), O_WRONLY | O_CLOEXEC));
            ASSERT_TRUE(overwrites || ::fallocate(file.get(), punch, 0, 4096) == 0);
            file.reset();
            fill_disk();
            EXPECT_EQ(setMgmt::setKey("other", "2"), -1);
            EXPECT_THAT(last_reason(), HasSubstr("No space left on device"));
            EXPECT_TRUE(reserve);
            EXPECT_EQ(setMgmt::setKey("on", "1"), 0) << last_reason();
            EXPECT_EQ(read_file(kSettingsFile), "{\"on\": \"1\", \"other\": \"1\"}\n");
            EXPECT_EQ(mode(kSettingsFile), fs::perms(0600));
            EXPECT_FALSE(reserve);
        }
        fs::remove(kFill);
        EXPECT_TRUE(qx::settings_reserve("on", "1"));
        fill_disk();
        EXPECT_FALSE(qx::settings_reserve("on", "1"));
        EXPECT_THAT(last_reason(), HasSubstr("settings.json.reserve: cannot be allocated: No"));
        fs::remove(kFill);
        EXPECT_THAT(names_in_directory(),
                    UnorderedElementsAre("settings.json", "settings.json.lock"))
            << "the unused reserve was not removed";
        EXPECT_EQ(open_descriptors(), descriptors);
        ASSERT_EQ(::umount(kSettingsDirectory.c_str()), 0);
    }
    mount_disk("ramfs", "mode=0755"); // ramfs cannot preallocate a file
    const qx::settings_reserve reserve("on", "1");
    EXPECT_TRUE(reserve);
    EXPECT_EQ(fs::file_size(space), size);
}

// The test replaces the lock file with a new, locked one while a writer waits for the old lock. The
// writer must then wait for the new lock.
TEST_F(Settings, LockTheNewFileWhenTheirLockFileIsReplaced) {
    const auto lock = [] {
        qx::io::descriptor fd(::open(kLock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_EQ(::flock(fd.get(), LOCK_EX), 0);
        return fd;
    };
    const auto is_waited_for = [](const qx::io::descriptor& fd) {
        struct stat status {};
        ::fstat(fd.get(), &status);
        return std::regex_search(read_file("/proc/locks"),
                                 std::regex(fmt::format("-> FLOCK.*:{} ", status.st_ino)));
    };
    fs::create_directory(kSettingsDirectory);
    qx::io::descriptor first = lock();
    Forked writer([&] {
        first.reset(); // closes the child's copy, which would keep the lock
        return setMgmt::init() == 0 ? setMgmt::setKey("a", "1") : -1;
    });
    wait_until([&] { return is_waited_for(first); });
    fs::remove(kLock);
    qx::io::descriptor second = lock();
    first.reset();
    wait_until([&] { return is_waited_for(second) || fs::exists(kSettingsFile); });
    EXPECT_FALSE(fs::exists(kSettingsFile)) << "the writer ignored the new lock";
    second.reset();
    EXPECT_EQ(writer.wait(), 0);
}

} // namespace
