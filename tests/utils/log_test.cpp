#include "base/descriptor.h"
#include "forked.h"
#include "qx/log.h"
#include "world.h"

#include <gmock/gmock.h>

#include <chrono>
#include <fcntl.h>
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
using testing::AnyOf;
using testing::MatchesRegex;

const fs::path kDirectory = kInstallDir / "var/log";
const fs::path kLog = kDirectory / "tool.log";
const fs::path kOlder = kDirectory / "tool.log.1";
constexpr std::uintmax_t kLargest = 256UL * 1024;

bool start() {
    return qx::log::start("tool", nullptr);
}

void write(std::string line) {
    qx::log::print(0, level::error, std::move(line));
}

class Log : public testing::Test {
protected:
    void SetUp() override {
        ::umask(0);
        fs::create_directory(kInstallDir);
    }

    static void mount_small_disk() {
        fs::create_directories(kDirectory);
        require(::mount("tmpfs", kDirectory.c_str(), "tmpfs", 0, "size=16k") == 0, "mount");
    }
};

TEST_F(Log, ReplacesThePlaceholderWithTimePidAndLevel) {
    ASSERT_TRUE(start());
    QX_LOG(level::error, "Deleting '{}' {:s}", qx::path(qx::common_path::programs),
           std::string("failed"));
    [] { QX_LOG(level::warning, "in a {}", "closure"); }();
    write("a line that is rather long but has no placeholder\n");
    write("yyyy-mm-dd\n");
    qx::log::stop();
    QX_LOG(level::error, "after the end");
    const std::string stamp = "[0-9]{4}-[01][0-9]-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]"
                              "\\.[0-9]{3} " +
                              fmt::format("{:>7}", ::getpid());
    EXPECT_THAT(
        read_file(kLog),
        MatchesRegex(stamp +
                     " ERROR \\[log_test.cpp:[0-9]+\\]\\[TestBody\\(\\)\\]: Deleting "
                     "'/opt/norvane/bin' failed\n" +
                     stamp +
                     " WARN  \\[log_test.cpp:[0-9]+\\]\\[operator\\(\\)\\(\\)\\]: in a closure\n"
                     "a line that is rather long but has no placeholder\nyyyy-mm-dd\n"));
}

TEST_F(Log, StampsLinesWithLocalTime) {
    ::setenv("TZ", "XYZ-5:30", 1);
    ASSERT_TRUE(start());
    const auto stamp = [] {
        // Do not use time(): it may lag a few milliseconds behind the clock that the log reads.
        const auto now = std::chrono::system_clock::now() + std::chrono::minutes(330);
        const std::time_t when = std::chrono::system_clock::to_time_t(now);
        char text[32];
        std::tm utc{};
        ::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", ::gmtime_r(&when, &utc));
        return std::string(text);
    };
    const std::string before = stamp();
    write("yyyy-mm-dd HH:MM:SS.__m ____pid __lvl \n");
    EXPECT_THAT(read_file(kLog).substr(0, 19), AnyOf(before, stamp()));
}

TEST_F(Log, TakesItsThresholdFromTheEnvironment) {
    // The value of QXLOG_LEVEL, or "-" to leave it unset, and how many of the four levels it
    // enables.
    const std::pair<std::string, int> cases[] = {{"-", 2},    {"error", 1}, {"warn", 2},
                                                 {"info", 3}, {"debug", 4}, {"none", 0},
                                                 {"", 2},     {"ERROR", 2}};
    for (const auto& [setting, lines] : cases) {
        setting == "-" ? ::unsetenv("QXLOG_LEVEL") : ::setenv("QXLOG_LEVEL", setting.c_str(), 1);
        ASSERT_TRUE(start());
        int formatted = 0;
        for (int severity = 0; severity < 4; ++severity) {
            QX_LOG(static_cast<level>(severity), "{}", ++formatted);
        }
        EXPECT_EQ(formatted, lines) << setting;
    }
}

TEST_F(Log, WritesNothingWithoutAnInstallDirectory) {
    EXPECT_FALSE(qx::log::can_log(0, level::error)) << "before the start";
    fs::remove(kInstallDir);
    EXPECT_TRUE(start());
    EXPECT_FALSE(qx::log::can_log(0, level::error));
    EXPECT_FALSE(fs::exists(kInstallDir));
}

TEST_F(Log, DoesNotStartIfTheLogFileIsNotRegular) {
    fs::create_directories(kLog);
    EXPECT_FALSE(start());
    fs::remove(kLog);
    ASSERT_EQ(::mkfifo(kLog.c_str(), 0600), 0);
    EXPECT_FALSE(start());
    fs::remove_all(kDirectory);
    write_file(kDirectory, "a file");
    EXPECT_FALSE(start());
}

TEST_F(Log, EscapesControlCharactersExceptTheFinalLineFeed) {
    ASSERT_TRUE(start());
    for (const char* const line : {"a\nb\x1b\x9b\n", "\xe2\x82\xac\n", "\n", "~ no end"}) {
        write(line);
    }
    EXPECT_EQ(read_file(kLog), "a\\x0ab\\x1b\\x9b\n\xe2\x82\xac\n\n~ no end");
}

TEST_F(Log, FilesAreMode0640WhateverTheUmask) {
    for (const mode_t umask : {0U, 077U, 0777U}) {
        ::umask(umask);
        fs::remove_all(kDirectory);
        ASSERT_TRUE(start());
        EXPECT_EQ(mode(kDirectory), fs::perms(0755)) << umask;
        EXPECT_EQ(mode(kLog), fs::perms(0640)) << umask;
        for (const fs::perms before : {fs::perms(0600), fs::perms(0666)}) {
            write_file(kOlder, "");
            fs::permissions(kOlder, before);
            ASSERT_TRUE(start());
            EXPECT_EQ(mode(kOlder), fs::perms(0640)) << umask;
        }
    }
}

TEST_F(Log, LeavesNoIncompleteLineOnAFullDisk) {
    mount_small_disk();
    ASSERT_TRUE(start());
    write("one\n");
    write(std::string(100'000, 'x') + "\n");
    write("two\n");
    EXPECT_EQ(read_file(kLog), "one\ntwo\n");
}

// Any process that can read the log can lock it. While another process holds the lock, the log
// terminates an incomplete line instead of removing it, and rotates only at twice the usual size.
TEST_F(Log, NeverBlocksOnALockAndTerminatesAnIncompleteLine) {
    mount_small_disk();
    ASSERT_TRUE(start());
    const qx::io::descriptor reader(::open(kLog.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(reader.get(), LOCK_SH), 0);
    write("one\n");
    write(std::string(100'000, 'x') + "\n");
    ASSERT_EQ(::mount("tmpfs", kDirectory.c_str(), "tmpfs", MS_REMOUNT, "size=1m"), 0);
    write("two\n");
    write("three\n");
    EXPECT_THAT(read_file(kLog), MatchesRegex("one\nx+\ntwo\nthree\n"));

    fs::resize_file(kLog, kLargest - 1);
    write("beyond\n");
    EXPECT_EQ(fs::file_size(kLog), kLargest + 7);
    EXPECT_FALSE(fs::exists(kOlder));
    fs::resize_file(kLog, 2 * kLargest);
    write("far beyond\n");
    EXPECT_EQ(read_file(kLog), "far beyond\n");
    EXPECT_EQ(fs::file_size(kOlder), 2 * kLargest);
}

// After a power cut, ext4 may keep only a part of the last line, or zeros in its place.
TEST_F(Log, RemovesAnIncompleteLineLeftByAPowerCut) {
    ASSERT_TRUE(start());
    write_file(kLog, "one\n" + std::string(5000, '\0'));
    write("two\n");
    EXPECT_EQ(read_file(kLog), "one\ntwo\n");
    write_file(kLog, "one\n1970-01-01 ");
    write("three\n");
    EXPECT_EQ(read_file(kLog), "one\nthree\n");
}

TEST_F(Log, RotatesTheFileBeforeItExceeds256KiB) {
    write_file(kLog, std::string(kLargest - 11, 'x') + "\n");
    write_file(kOlder, "older still");
    ASSERT_TRUE(start());
    write("123456789\n");
    EXPECT_EQ(fs::file_size(kLog), kLargest);
    write("next\n");
    EXPECT_EQ(read_file(kLog), "next\n");
    EXPECT_EQ(fs::file_size(kOlder), kLargest);
    write(std::string(kLargest + 1, 'y')); // larger than the limit even in an empty file
    EXPECT_EQ(read_file(kOlder), "next\n");
    EXPECT_EQ(fs::file_size(kLog), kLargest + 1);
}

TEST_F(Log, FollowsARotationByAnotherProcess) {
    ASSERT_TRUE(start());
    write("first\n");
    fs::rename(kLog, kOlder);
    write("second\n");
    fs::remove(kLog);
    write("third\n");
    EXPECT_EQ(read_file(kOlder), "first\n");
    EXPECT_EQ(read_file(kLog), "third\n");
    fs::remove_all(kDirectory);
    write("nowhere\n");
    EXPECT_FALSE(fs::exists(kDirectory));
}

// All writers, with two threads each, find the file full at the same moment. Exactly one of them
// may rotate it, because a second rotation would lose lines.
TEST_F(Log, LosesNoLineWhenSeveralProcessesRotateIt) {
    constexpr int kWriters = 6;
    constexpr int kLines = 20;
    const std::string full(kLargest - 2, 'x');
    std::multiset<std::string> expected = {full};
    for (int number = 0; number < kWriters * kLines; ++number) {
        expected.insert(fmt::format("{} {}", number / kLines, number % kLines));
    }
    for (int round = 0; round < 40; ++round) {
        int gate[2] = {-1, -1};
        ASSERT_EQ(::pipe(gate), 0);
        fs::remove(kOlder);
        write_file(kLog, full + "\n");
        std::list<Forked> children;
        for (int writer = 0; writer < kWriters; ++writer) {
            children.emplace_back([&gate, writer] {
                const auto write_half = [writer](int first) {
                    for (int number = first; number < kLines; number += 2) {
                        write(fmt::format("{} {}\n", writer, number));
                    }
                };
                const bool started = start();
                char opened = 0;
                ::close(gate[1]);
                const ssize_t end = ::read(gate[0], &opened, 1);
                std::thread other(write_half, 1);
                write_half(0);
                other.join();
                return started && end == 0 ? 0 : 1;
            });
        }
        ::close(gate[0]);
        ::close(gate[1]);
        for (Forked& child : children) {
            EXPECT_EQ(child.wait(), 0);
        }
        const std::vector<std::string> written = lines_of(read_file(kOlder) + read_file(kLog));
        ASSERT_TRUE(std::multiset(written.begin(), written.end()) == expected) << written.size();
        ASSERT_GE(fs::file_size(kOlder), kLargest - 1);
    }
}

} // namespace
