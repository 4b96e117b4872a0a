#include "base/descriptor.h"
#include "forked.h"
#include "process.h"
#include "qx/error.h"
#include "qx/io.h"
#include "qx/log.h"
#include "qx/settings.h"
#include "world.h"

#include <gmock/gmock.h>

#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <regex>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using qx::setMgmt;
using namespace qx::test;
using testing::HasSubstr;
using Names = std::vector<std::string>;

const fs::path kSettingsDirectory = kInstallDir / "etc";
const fs::path kLock = kSettingsFile.string() + ".lock";
const fs::path kTemporary = kSettingsFile.string() + ".tmp";

int last_error() {
    return qx::_get_qxerrno().number;
}

std::string last_reason() {
    return qx::_get_qxerrno().second.sview().to_string();
}

Names names_in_directory() {
    Names names;
    for (const auto& entry : fs::directory_iterator(kSettingsDirectory)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string read_log() {
    return read_file(kInstallDir / "var/log/tool.log");
}

class Settings : public testing::Test {
protected:
    void SetUp() override {
        ::umask(0);
        fs::create_directory(kInstallDir);
    }
};

TEST_F(Settings, NoFileIsAnEmptyStoreAndReadingMakesNone) {
    EXPECT_EQ(qx::kCirrelEntrypointsKey.to_string(), "/cirrel/entrypoints");
    EXPECT_EQ(qx::kCirrelCaFileDefault.to_string(), "/opt/norvane/etc/certs/ca-certificates.crt");
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::getKeyValue("/a", "default"), "default");
    EXPECT_EQ(setMgmt::getKeyValue("/a", 7), 7);
    EXPECT_EQ(setMgmt::deleteKey("/a"), -1);
    EXPECT_EQ(last_error(), 5);
    EXPECT_FALSE(fs::exists(kSettingsDirectory));
    fs::remove(kInstallDir);
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::setKey("a", "1"), -1);
    EXPECT_EQ(last_error(), 2);
    EXPECT_FALSE(fs::exists(kInstallDir));
}

TEST_F(Settings, WritesAFlatObjectForTheOwnerOnly) {
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::setKey("/quillet/update_location", "staging"), 0);
    EXPECT_EQ(read_file(kSettingsFile), "{\"/quillet/update_location\": \"staging\"}\n");
    EXPECT_EQ(mode(kSettingsDirectory), fs::perms(0755));
    EXPECT_EQ(names_in_directory(), (Names{"settings.json", "settings.json.lock"}));

    EXPECT_EQ(setMgmt::setKey("/b", ""), 0);
    EXPECT_EQ(setMgmt::setKey("/a", std::string("\0\"\n\xc3\xa9", 5)), 0);
    EXPECT_EQ(setMgmt::setKey("/b", "2"), 0);
    setMgmt::uninit();
    EXPECT_EQ(setMgmt::getKeyValue("/b", "closed"), "closed");
    EXPECT_EQ(setMgmt::setKey("/b", "3"), -1);
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::getKeyValue("/a", ""), std::string("\0\"\n\xc3\xa9", 5));
    EXPECT_EQ(setMgmt::getKeyValue("/b", 0), 2);
    EXPECT_EQ(setMgmt::deleteKey("/a"), 0);
    EXPECT_EQ(read_file(kSettingsFile),
              "{\"/quillet/update_location\": \"staging\", \"/b\": \"2\"}\n");
}

TEST_F(Settings, ReadsOnlyWholeIntegersAsIntegers) {
    const std::pair<const char*, int> cases[] = {
        {"0", 0},   {"-3", -3}, {"+3", 3},  {"007", 7},   {"2147483647", INT_MAX},
        {"", 99},   {"+", 99},  {"-", 99},  {"+-3", 99},  {"-2147483648", INT_MIN},
        {" 1", 99}, {"1 ", 99}, {"1x", 99}, {"0x10", 99}, {"2147483648", 99}};
    ASSERT_EQ(setMgmt::init(), 0);
    for (const auto& [text, value] : cases) {
        ASSERT_EQ(setMgmt::setKey("/n", text), 0);
        EXPECT_EQ(setMgmt::getKeyValue("/n", 99), value) << text;
    }
}

TEST_F(Settings, DeletesAndRefuses) {
    ASSERT_EQ(setMgmt::init(), 0);
    ASSERT_EQ(setMgmt::setKey("/a", "1"), 0);
    EXPECT_EQ(setMgmt::deleteKey("/b"), -1);
    EXPECT_EQ(last_error(), 4);
    EXPECT_EQ(setMgmt::deleteKey(std::string("/a\0b", 4)), -1);
    EXPECT_EQ(last_error(), 4);
    for (const auto& [key, value] : {std::pair<std::string, std::string>{"/x", "\xff"},
                                     {"\xff", "x"},
                                     {std::string("/a\0b", 4), "x"}}) {
        EXPECT_EQ(setMgmt::setKey(key, value), -1);
        EXPECT_EQ(last_error(), 2);
    }
    EXPECT_EQ(read_file(kSettingsFile), "{\"/a\": \"1\"}\n");
    EXPECT_EQ(setMgmt::getKeyValue(std::string("/a\0b", 4), "none"), "none");
    EXPECT_EQ(setMgmt::deleteKey("/a"), 0);
    EXPECT_EQ(setMgmt::getKeyValue("/a", "gone"), "gone");
    EXPECT_EQ(read_file(kSettingsFile), "{}\n");
    EXPECT_EQ(setMgmt::deleteKey("/a"), -1);
    EXPECT_EQ(last_error(), 4);
}

TEST_F(Settings, TheLastOfDuplicateKeysWins) {
    write_file(kSettingsFile, R"({"a": 1, "b": "2", "a": "3"})");
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::getKeyValue("a", 0), 3);
    EXPECT_EQ(setMgmt::setKey("b", "4"), 0);
    EXPECT_EQ(read_file(kSettingsFile), "{\"a\": \"3\", \"b\": \"4\"}\n");
}

TEST_F(Settings, OnlyAWriteNarrowsTheModeAndWarnsOfOthersOnce) {
    ASSERT_TRUE(qx::log::start("tool", nullptr));
    write_file(kSettingsFile, "{\"a\": \"1\"}");
    fs::permissions(kSettingsFile, fs::perms(0664));
    fs::permissions(kSettingsDirectory, fs::perms(0777));
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::deleteKey("b"), -1);
    EXPECT_EQ(mode(kSettingsFile), fs::perms(0664));
    EXPECT_EQ(read_log(), "");
    for (const mode_t umask : {0U, 0777U}) {
        ::umask(umask);
        fs::remove(kLock);
        EXPECT_EQ(setMgmt::setKey("a", "2"), 0);
        EXPECT_EQ(mode(kSettingsFile), fs::perms(0600));
        EXPECT_EQ(mode(kLock), fs::perms(0600));
    }
    EXPECT_THAT(lines_of(read_log()),
                testing::ElementsAre(HasSubstr("Others can write to the settings directory")));
    fs::remove_all(kSettingsDirectory);
    EXPECT_EQ(setMgmt::setKey("a", "2"), 0);
    EXPECT_EQ(mode(kSettingsDirectory), fs::perms(0755)) << "made under umask 0777";
}

TEST_F(Settings, AStoreOfAnotherUserIsUsedWithAWarning) {
    write_file(kSettingsFile, "{}");
    if (::chown(kSettingsFile.c_str(), 1234, 0) != 0) {
        GTEST_SKIP() << "there are other users only where root runs the tests";
    }
    fs::permissions(kSettingsDirectory, fs::perms(0755));
    ASSERT_TRUE(qx::log::start("tool", nullptr));
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(read_log(), "");
    EXPECT_EQ(setMgmt::setKey("a", "1"), 0);
    EXPECT_THAT(read_log(), HasSubstr("settings.json' belong to another user (1234)\n"));
    ASSERT_EQ(::chown(kInstallDir.c_str(), 1234, 0), 0);
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::setKey("a", "2"), 0);
    EXPECT_EQ(lines_of(read_log()).size(), 1) << "the owner of the install directory";
    ASSERT_EQ(::chown(kInstallDir.c_str(), 0, 0), 0);
    write_file("/etc/passwd", "norvane-plix:x:1234:1234::/opt/norvane:/bin/false\n");
    ASSERT_EQ(setMgmt::init(), 0);
    EXPECT_EQ(setMgmt::setKey("a", "3"), 0);
    EXPECT_EQ(lines_of(read_log()).size(), 1) << "the agent's user";
}

TEST_F(Settings, ADamagedStoreIsNamedAndLeftAlone) {
    ASSERT_TRUE(qx::log::start("tool", nullptr));
    for (const char* const text :
         {"", "\n", "{", "[]", "42", "{\"a\\n\":1}", "{\"a\":{}}", "{\"a\":\"1\"} x",
          "{\"a\":\"\xff\"}", "{\"a\\u0000\":\"1\"}", "{\"token\": \"secret\" secret}"}) {
        write_file(kSettingsFile, "{\"a\": \"1\"}");
        ASSERT_EQ(setMgmt::init(), 0);
        write_file(kSettingsFile, text); // meanwhile
        fs::permissions(kSettingsFile, fs::perms(0664));
        EXPECT_EQ(setMgmt::setKey("/b", "2"), -1) << text;
        EXPECT_EQ(last_error(), 3);
        EXPECT_EQ(setMgmt::deleteKey("a"), -1);
        EXPECT_EQ(last_error(), 3);
        EXPECT_EQ(setMgmt::getKeyValue("a", 0), 1);
        setMgmt::uninit();

        EXPECT_LT(setMgmt::init(), 0) << text;
        EXPECT_THAT(last_reason(), testing::StartsWith("/opt/norvane/etc/settings.json: "));
        EXPECT_THAT(last_reason(), testing::Not(HasSubstr("secret")));
        EXPECT_EQ(last_error(), 3);
        EXPECT_EQ(setMgmt::setKey("/b", "2"), -1);
        EXPECT_EQ(read_file(kSettingsFile), text);
        EXPECT_EQ(mode(kSettingsFile), fs::perms(0664));
    }
    const std::string log = read_log();
    EXPECT_THAT(log, HasSubstr("Cannot read the settings: /opt/norvane/etc/settings.json: is not "
                               "JSON (line 1, column 1)\n"));
    EXPECT_THAT(log, HasSubstr("settings.json: is empty\n"));
    EXPECT_THAT(log, HasSubstr("settings.json: the value of \"a\\n\" is not a text\n"));
    EXPECT_THAT(log, testing::Not(HasSubstr("secret")));
}

TEST_F(Settings, AStoreThatCannotBeReadIsNotAnEmptyOne) {
    const fs::path elsewhere = kInstallDir / "elsewhere";
    const std::pair<std::function<void()>, const char*> obstacles[] = {
        {[&] { fs::create_symlink(elsewhere, kSettingsFile); }, "settings.json: is a link"},
        {[] { fs::create_directory(kSettingsFile); }, "settings.json: is not a regular file"},
        {[] { ASSERT_EQ(::mkfifo(kSettingsFile.c_str(), 0600), 0); },
         "settings.json: is not a regular file"},
        {[] {
             write_file(kSettingsFile, "");
             fs::resize_file(kSettingsFile, 1UL << 40);
         },
         "settings.json: is larger than 16 MiB"},
        {[] {
             fs::remove_all(kSettingsDirectory);
             write_file(kSettingsDirectory, "a file");
         },
         "settings.json: cannot be opened: Not a directory"},
    };
    write_file(elsewhere, "{}");
    fs::create_directory(kSettingsDirectory);
    for (const auto& [put_obstacle, reason] : obstacles) {
        fs::remove(kSettingsFile);
        ASSERT_EQ(setMgmt::init(), 0);
        put_obstacle();
        const fs::file_type type = fs::symlink_status(kSettingsFile).type();
        EXPECT_EQ(setMgmt::setKey("a", "1"), -1);
        EXPECT_EQ(last_error(), 2);
        EXPECT_LT(setMgmt::init(), 0);
        EXPECT_THAT(last_reason(), testing::EndsWith(reason));
        EXPECT_EQ(fs::symlink_status(kSettingsFile).type(), type);
    }
    EXPECT_EQ(read_file(elsewhere), "{}");
}

TEST_F(Settings, AStoreThatCannotBeWrittenStaysAsItIs) {
    write_file(kSettingsFile, "{\"a\": \"1\"}");
    ASSERT_EQ(setMgmt::init(), 0);
    fs::create_symlink("/opt/outside", kLock);
    EXPECT_EQ(setMgmt::setKey("a", "2"), -1);
    EXPECT_THAT(last_reason(), HasSubstr("settings.json.lock: is a link"));
    fs::remove(kLock);
    fs::create_directory(kTemporary);
    EXPECT_EQ(setMgmt::setKey("a", "2"), -1);
    EXPECT_EQ(last_error(), 2);
    EXPECT_EQ(read_file(kSettingsFile), "{\"a\": \"1\"}");
}

TEST_F(Settings, AFullDiskLeavesTheOldStore) {
    fs::create_directory(kSettingsDirectory);
    ASSERT_EQ(::mount("tmpfs", kSettingsDirectory.c_str(), "tmpfs", 0, "size=32k,mode=0755"), 0);
    ASSERT_EQ(setMgmt::init(), 0);
    ASSERT_EQ(setMgmt::setKey("a", "1"), 0);
    const auto descriptors = open_descriptors();
    EXPECT_EQ(setMgmt::setKey("b", std::string(100000, 'x')), -1);
    EXPECT_EQ(last_error(), 2);
    EXPECT_THAT(last_reason(), HasSubstr("No space left on device"));
    EXPECT_EQ(setMgmt::setKey("b", std::string(std::size_t{16} * 1024 * 1024, 'x')), -1);
    EXPECT_THAT(last_reason(), HasSubstr("settings.json: would be larger than 16 MiB"));
    EXPECT_EQ(setMgmt::getKeyValue("b", "none"), "none");
    EXPECT_EQ(read_file(kSettingsFile), "{\"a\": \"1\"}\n");
    EXPECT_EQ(names_in_directory(), (Names{"settings.json", "settings.json.lock"}));
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(setMgmt::setKey("a", "2"), 0);

    ASSERT_EQ(::mount("tmpfs", kSettingsDirectory.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);
    EXPECT_EQ(setMgmt::setKey("a", "3"), -1);
    EXPECT_THAT(last_reason(), HasSubstr("Read-only file system"));
    EXPECT_EQ(read_file(kSettingsFile), "{\"a\": \"2\"}\n");
}

constexpr int kPunchHole = FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE;

// Takes all the space that is left in the settings directory.
void fill_disk() {
    const qx::io::descriptor fd(
        ::open((kSettingsDirectory / "fill").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    while (qx::io::write_all(fd.get(), std::string(512, 'x'))) {
    }
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(Settings, AReservedChangeSucceedsOnAFullDisk) {
    const Names names = {"settings.json", "settings.json.lock"};
    const fs::path space = kSettingsFile.string() + ".reserve";
    const std::size_t size = std::string("{\"on\": \"1\"}\n").size() + 4096;
    // A hole in the reserve stands for a file system that never overwrites in place.
    for (const bool overwrites : {true, false}) {
        fs::create_directory(kSettingsDirectory);
        ASSERT_EQ(::mount("tmpfs", kSettingsDirectory.c_str(), "tmpfs", 0, "size=32k,mode=0755"),
                  0);
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
            ASSERT_TRUE(overwrites || ::fallocate(file.get(), kPunchHole, 0, 4096) == 0);
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
        fs::remove(kSettingsDirectory / "fill");
        EXPECT_TRUE(qx::settings_reserve("on", "1")) << "and not used";
        fill_disk();
        EXPECT_FALSE(qx::settings_reserve("on", "1"));
        EXPECT_THAT(last_reason(), HasSubstr("settings.json.reserve: cannot be allocated: No"));
        fs::remove(kSettingsDirectory / "fill");
        EXPECT_EQ(names_in_directory(), names);
        EXPECT_EQ(open_descriptors(), descriptors);
        ASSERT_EQ(::umount(kSettingsDirectory.c_str()), 0);
    }
    // A file system without preallocation.
    ASSERT_EQ(::mount("ramfs", kSettingsDirectory.c_str(), "ramfs", 0, "mode=0755"), 0);
    const qx::settings_reserve reserve("on", "1");
    EXPECT_TRUE(reserve);
    EXPECT_EQ(fs::file_size(space), size);
}

// The lock file is unlinked while a writer waits for it, and a new one is locked in its place.
TEST_F(Settings, AWriterWhoseLockFileIsGoneWaitsForTheNewOne) {
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
        first.reset(); // the child's copy
        return setMgmt::init() == 0 ? setMgmt::setKey("a", "1") : -1;
    });
    wait_until([&] { return is_waited_for(first); });
    fs::remove(kLock);
    qx::io::descriptor second = lock();
    first.reset();
    wait_until([&] { return is_waited_for(second) || fs::exists(kSettingsFile); });
    EXPECT_FALSE(fs::exists(kSettingsFile)) << "two writers at a time";
    second.reset();
    EXPECT_EQ(writer.wait(), 0);
}

} // namespace
