#include "qx/error.h"
#include "qx/json.h"
#include "qx/log.h"
#include "qx/settings.h"
#include "world.h"

#include <gmock/gmock.h>

#include <climits>
#include <filesystem>
#include <functional>
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

TEST_F(Settings, ADamagedStoreIsNamedAndLeftAlone) {
    ASSERT_TRUE(qx::log::start("tool", nullptr));
    for (const char* const text :
         {"", "\n", "{", "[]", "42", "{\"a\\n\":1}", "{\"a\":{}}", "{\"a\":\"1\"} x",
          "{\"a\":\"1\",\"a\":\"2\"}", "{\"a\":\"\xff\"}", "{\"a\\u0000\":\"1\"}",
          "{\"token\": \"secret\" secret}"}) {
        write_file(kSettingsFile, "{\"a\": \"1\"}");
        ASSERT_EQ(setMgmt::init(), 0);
        write_file(kSettingsFile, text); // meanwhile
        EXPECT_EQ(setMgmt::setKey("/b", "2"), -1) << text;
        EXPECT_EQ(last_error(), 3);
        EXPECT_EQ(setMgmt::deleteKey("a"), -1);
        EXPECT_EQ(last_error(), 3);
        EXPECT_EQ(setMgmt::getKeyValue("a", 0), 1);
        setMgmt::uninit();

        testing::internal::CaptureStderr();
        EXPECT_LT(setMgmt::init(), 0) << text;
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_THAT(said,
                    testing::MatchesRegex(
                        "Cannot read the settings: /opt/norvane/etc/settings.json: [^\n]+\n"));
        EXPECT_THAT(said, testing::Not(HasSubstr("secret")));
        EXPECT_EQ(last_error(), 3);
        EXPECT_EQ(setMgmt::setKey("/b", "2"), -1);
        EXPECT_EQ(read_file(kSettingsFile), text);
    }
    const std::string log = read_file(kInstallDir / "var/log/tool.log");
    EXPECT_THAT(log, HasSubstr("Cannot read the settings: /opt/norvane/etc/settings.json: a key "
                               "occurs twice (line 1"));
    EXPECT_THAT(log, HasSubstr("settings.json: the value of \"a\\n\" is not a text\n"));
    EXPECT_THAT(log, testing::Not(HasSubstr("secret")));
}

TEST_F(Settings, AStoreThatCannotBeReadIsNotAnEmptyOne) {
    const fs::path elsewhere = kInstallDir / "elsewhere";
    const std::pair<std::function<void()>, const char*> obstacles[] = {
        {[&] { fs::create_symlink(elsewhere, kSettingsFile); }, "settings.json: is a link\n"},
        {[] { fs::create_directory(kSettingsFile); }, "settings.json: is not a regular file\n"},
        {[] { ASSERT_EQ(::mkfifo(kSettingsFile.c_str(), 0600), 0); },
         "settings.json: is not a regular file\n"},
        {[] {
             write_file(kSettingsFile, "");
             fs::resize_file(kSettingsFile, 1UL << 40);
         },
         "settings.json: is larger than 16 MiB\n"},
        {[] {
             fs::remove_all(kSettingsDirectory);
             write_file(kSettingsDirectory, "a file");
         },
         "settings.json: cannot be opened: Not a directory\n"},
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
        testing::internal::CaptureStderr();
        EXPECT_LT(setMgmt::init(), 0);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(reason));
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

} // namespace
