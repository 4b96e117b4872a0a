#include "base/descriptor.h"
#include "forked.h"
#include "qx/log.h"
#include "world.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <list>
#include <set>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using qx::log::level;
using namespace qx::test;

const fs::path kDirectory = kInstallDir / "var/log";
const fs::path kLog = kDirectory / "tool.log";
const fs::path kOlder = kDirectory / "tool.log.1";
constexpr std::uintmax_t kLargest = 256UL * 1024;

bool start() {
    return qx::log::start("tool", nullptr);
}

class Log : public testing::Test {
protected:
    void SetUp() override {
        ::umask(0);
        fs::create_directory(kInstallDir);
    }
};

TEST_F(Log, FillsThePlaceholder) {
    ASSERT_TRUE(start());
    QX_LOG(level::error, "Deleting '{}' {:s}", qx::path(qx::common_path::programs),
           std::string("failed"));
    QX_LOG(level::warning, "second");
    [] { QX_LOG(level::error, "in a {}", "closure"); }();
    qx::log::stop();
    QX_LOG(level::error, "after the end");

    const std::string pid = fmt::format("{:>7}", ::getpid());
    const std::string stamp =
        "[0-9]{4}-[01][0-9]-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3} " + pid;
    EXPECT_THAT(read_file(kLog),
                testing::MatchesRegex(
                    stamp +
                    " ERROR \\[log_test.cpp:[0-9]+\\]\\[TestBody\\(\\)\\]: Deleting "
                    "'/opt/norvane/bin' failed\n" +
                    stamp + " WARN  \\[log_test.cpp:[0-9]+\\]\\[TestBody\\(\\)\\]: second\n" + //
                    stamp +
                    " ERROR \\[log_test.cpp:[0-9]+\\]\\[operator\\(\\)\\(\\)\\]: in a closure\n"));
    EXPECT_EQ(mode(kLog), fs::perms(0640));
}

TEST_F(Log, UsesLocalTime) {
    ::setenv("TZ", "XYZ-5:30", 1);
    ASSERT_TRUE(start());
    // time() may lag a few milliseconds behind the clock that the log reads.
    const auto now = [] {
        return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    };
    const std::time_t before = now();
    qx::log::print(0, level::error, "yyyy-mm-dd HH:MM:SS.__m ____pid __lvl \n");
    const std::time_t after = now();
    const auto stamp = [](std::time_t when) {
        when += 5 * 3600 + 30 * 60;
        char text[32];
        std::tm utc{};
        ::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", ::gmtime_r(&when, &utc));
        return std::string(text);
    };
    EXPECT_THAT(read_file(kLog).substr(0, 19), testing::AnyOf(stamp(before), stamp(after)));
}

TEST_F(Log, EnvironmentSetsTheThreshold) {
    const struct {
        const char* setting;
        int lines; // of four, one per level
    } cases[] = {{nullptr, 2}, {"error", 1}, {"warn", 2}, {"info", 3},
                 {"debug", 4}, {"none", 0},  {"", 2},     {"ERROR", 2}};
    for (const auto& each : cases) {
        ::unsetenv("QXLOG_LEVEL");
        if (each.setting != nullptr) {
            ::setenv("QXLOG_LEVEL", each.setting, 1);
        }
        ASSERT_TRUE(start());
        int formatted = 0;
        for (int severity = 0; severity < 4; ++severity) {
            QX_LOG(static_cast<level>(severity), "{}", ++formatted);
        }
        EXPECT_EQ(formatted, each.lines) << (each.setting == nullptr ? "unset" : each.setting);
        qx::log::stop();
    }
}

TEST_F(Log, HasNoSinkWithoutAnInstallDirectory) {
    EXPECT_FALSE(qx::log::can_log(0, level::error)) << "before the start";
    fs::remove(kInstallDir);
    EXPECT_TRUE(start());
    EXPECT_FALSE(qx::log::can_log(0, level::error));
    EXPECT_FALSE(fs::exists(kInstallDir));
}

TEST_F(Log, DoesNotStartOnWhatIsNoFile) {
    write_file(kInstallDir / "outside", "untouched");
    fs::create_directories(kDirectory);
    fs::create_symlink(kInstallDir / "outside", kLog);
    EXPECT_FALSE(start());
    fs::remove(kLog);
    fs::create_directory(kLog);
    EXPECT_FALSE(start());
    fs::remove(kLog);
    ASSERT_EQ(::mkfifo(kLog.c_str(), 0600), 0);
    EXPECT_FALSE(start());
    fs::remove_all(kDirectory);
    write_file(kDirectory, "a file");
    EXPECT_FALSE(start());
    EXPECT_EQ(read_file(kInstallDir / "outside"), "untouched");
}

TEST_F(Log, GoesOnInAFileThatWasThere) {
    write_file(kLog, "before\n");
    ASSERT_TRUE(start());
    qx::log::print(0, level::error, "a line that is rather long but has no placeholder\n");
    qx::log::print(0, level::error, "yyyy-mm-dd\n");
    EXPECT_EQ(read_file(kLog),
              "before\na line that is rather long but has no placeholder\nyyyy-mm-dd\n");
}

TEST_F(Log, EscapesControlCharacters) {
    const std::pair<std::string, const char*> cases[] = {
        {"a\nb\n", R"(a\x0ab)"},
        {std::string("\0\t\r\x1b]0;x\x07\x1f\n", 11), R"(\x00\x09\x0d\x1b]0;x\x07\x1f)"},
        {"a\x7f\x9b\xc2\x9b\xc2\x80\xc2\n", "a\\x7f\\x9b\\xc2\\x9b\\xc2\\x80\\xc2"},
        {"\xe2\x82\xac \xc3\x9b \xc2\xa0\xf0\x9f\x98\x80\n",
         "\xe2\x82\xac \xc3\x9b \xc2\xa0\xf0\x9f\x98\x80"},
        {"\n", ""},
        {"~ no end\n", "~ no end"}};
    for (const auto& [line, written] : cases) {
        fs::remove(kLog);
        ASSERT_TRUE(start());
        qx::log::print(0, level::error, std::string(line));
        EXPECT_EQ(read_file(kLog), written + std::string("\n"));
    }
}

TEST_F(Log, HasItsModeWhateverTheUmask) {
    for (const mode_t umask : {0U, 077U, 0777U}) {
        fs::remove_all(kDirectory);
        ::umask(umask);
        ASSERT_TRUE(start());
        EXPECT_EQ(mode(kDirectory), fs::perms(0755)) << umask;
        for (const fs::perms before : {fs::perms(0600), fs::perms(0666)}) {
            fs::remove(kLog);
            write_file(kOlder, "");
            fs::permissions(kOlder, before);
            ASSERT_TRUE(start());
            EXPECT_EQ(mode(kLog), fs::perms(0640)) << umask;
            EXPECT_EQ(mode(kOlder), fs::perms(0640)) << umask;
        }
    }
}

TEST_F(Log, LeavesNoHalfLineOnAFullDisk) {
    fs::create_directories(kDirectory);
    ASSERT_EQ(::mount("tmpfs", kDirectory.c_str(), "tmpfs", 0, "size=16k"), 0);
    ASSERT_TRUE(start());
    for (const std::string& line :
         {std::string("one\n"), std::string(100'000, 'x') + "\n", std::string("two\n")}) {
        qx::log::print(0, level::error, std::string(line));
    }
    EXPECT_EQ(read_file(kLog), "one\ntwo\n");
}

// Anyone who may read the log can hold its lock. A line that a full disk or a killed writer left
// incomplete is then not removed, but terminated before the next line.
TEST_F(Log, NeverWaitsForALockAndTerminatesHalfALine) {
    fs::create_directories(kDirectory);
    ASSERT_EQ(::mount("tmpfs", kDirectory.c_str(), "tmpfs", 0, "size=16k"), 0);
    ASSERT_TRUE(start());
    qx::io::descriptor reader(::open(kLog.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(reader.get(), LOCK_SH), 0);
    qx::log::print(0, level::error, "one\n");
    qx::log::print(0, level::error, std::string(100'000, 'x') + "\n");
    ASSERT_EQ(::mount("tmpfs", kDirectory.c_str(), "tmpfs", MS_REMOUNT, "size=1m"), 0);
    qx::log::print(0, level::error, "two\n");
    qx::log::print(0, level::error, "three\n");
    EXPECT_THAT(read_file(kLog), testing::MatchesRegex("one\nx+\ntwo\nthree\n"));

    fs::resize_file(kLog, kLargest - 1);
    qx::log::print(0, level::error, "beyond\n");
    EXPECT_EQ(fs::file_size(kLog), kLargest + 7);
    EXPECT_FALSE(fs::exists(kOlder));
    fs::resize_file(kLog, 2 * kLargest);
    qx::log::print(0, level::error, "far beyond\n");
    EXPECT_EQ(read_file(kLog), "far beyond\n");
    EXPECT_EQ(fs::file_size(kOlder), 2 * kLargest);
}

TEST_F(Log, BeginsTheFileAgainBeforeItGrowsTooLarge) {
    write_file(kLog, std::string(kLargest - 11, 'x'));
    write_file(kOlder, "older still");
    ASSERT_TRUE(start());
    qx::log::print(0, level::error, "123456789\n");
    EXPECT_EQ(fs::file_size(kLog), kLargest);
    qx::log::print(0, level::error, "next\n");
    EXPECT_EQ(read_file(kLog), "next\n");
    EXPECT_EQ(fs::file_size(kOlder), kLargest);
    qx::log::print(0, level::error, std::string(kLargest + 1, 'y')); // fits into no file
    EXPECT_EQ(read_file(kOlder), "next\n");
    EXPECT_EQ(fs::file_size(kLog), kLargest + 1);
}

TEST_F(Log, FollowsAFileThatAnotherBeganAgain) {
    ASSERT_TRUE(start());
    qx::log::print(0, level::error, "first\n");
    fs::rename(kLog, kOlder);
    qx::log::print(0, level::error, "second\n");
    fs::remove(kLog);
    qx::log::print(0, level::error, "third\n");
    EXPECT_EQ(read_file(kOlder), "first\n");
    EXPECT_EQ(read_file(kLog), "third\n");
    fs::remove_all(kDirectory);
    qx::log::print(0, level::error, "nowhere\n");
    EXPECT_FALSE(fs::exists(kDirectory));
}

// All writers, two threads each, find the file full at the same moment. A second rotation would
// lose lines.
TEST_F(Log, SeveralWritersLoseNoLine) {
    constexpr int writers = 6;
    constexpr int lines = 20;
    const auto line = [](int writer, int number) { return fmt::format("{} {}\n", writer, number); };
    std::multiset<std::string> expected = {std::string(kLargest - 2, 'x') + "\n"};
    for (int number = 0; number < writers * lines; ++number) {
        expected.insert(line(number / lines, number % lines));
    }
    for (int round = 0; round < 40; ++round) {
        int gate[2] = {-1, -1};
        ASSERT_EQ(::pipe(gate), 0);
        fs::remove(kOlder);
        write_file(kLog, *expected.rbegin());
        std::list<Forked> children;
        for (int writer = 0; writer < writers; ++writer) {
            children.emplace_back([&, writer] {
                const bool started = start();
                char opened = 0;
                ::close(gate[1]);
                static_cast<void>(::read(gate[0], &opened, 1) == 0);
                const auto write = [&](int first) {
                    for (int number = first; number < lines; number += 2) {
                        qx::log::print(0, level::error, line(writer, number));
                    }
                };
                std::thread other(write, 1);
                write(0);
                other.join();
                return started ? 0 : 1;
            });
        }
        ::close(gate[0]);
        ::close(gate[1]);
        for (Forked& child : children) {
            EXPECT_EQ(child.wait(), 0);
        }
        std::multiset<std::string> written;
        for (const std::string& each : lines_of(read_file(kOlder) + read_file(kLog))) {
            written.insert(each + "\n");
        }
        ASSERT_TRUE(written == expected) << written.size() << " of " << expected.size();
        ASSERT_GE(fs::file_size(kOlder), kLargest - 1);
    }
}

} // namespace
