#include "agent_fixture.h"
#include "base/descriptor.h"
#include "forked.h"

#include <alloca.h>
#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <pthread.h>
#include <set>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <thread>

namespace {

using namespace qx::test;

// Starts the library; what it wrote to standard error, or how it ended when it wrote nothing.
std::string start(const char* install_path) {
    testing::internal::CaptureStderr();
    const int result = install_path == nullptr ? qx_plix_init() : qx_plix_init2(install_path);
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result == 0, stopped == 0);
    EXPECT_TRUE(result == -1 || text.empty()) << text;
    return text.empty() ? std::to_string(result) : text;
}

constexpr const char* kDown = "Daemon is down or you are running an older version of it\n";
constexpr const char* kUnlocked = "Daemon is down or you need to try again later\n";

std::string wrong_version(const std::string& version) {
    return "Wrong Protocol Version: Daemon=(" + version + ") vs Client=(1.3)\n";
}

TEST(Lifecycle, NothingStartsWithoutARunningBrokerOfTheSameVersion) {
    EXPECT_EQ(start(nullptr), "-1") << "no install directory";
    fs::create_directories(kInstallDir);
    const auto before = open_descriptors();
    EXPECT_EQ(start(nullptr), kDown);
    write_file(kVersionFile, "1.3");
    EXPECT_EQ(start(nullptr), kUnlocked);
    const struct {
        std::string file;
        std::string outcome;
    } cases[] = {
        {"1.3", "-1"}, // and no broker that accepts
        {"", "-1"},
        {"1.2", wrong_version("1.2")},
        {"1.3\n", wrong_version("1.3\n")},
        {"1.33", wrong_version("1.33")},
        {"1.2\n1.3", wrong_version("1.2\n")},
        {"\n1.3", wrong_version("\n")},
        {std::string(40, '7'), wrong_version(std::string(32, '7'))},
    };
    for (const auto& c : cases) {
        const LockedVersionFile version_file(kInstallDir, c.file);
        EXPECT_EQ(start(nullptr), c.outcome) << c.file;
    }
    EXPECT_EQ(start(std::string(5000, 'x').c_str()), kDown);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(qx_plix_uninit(), 0);
    EXPECT_EQ(qx_plix_subscribe(QX_PLIX_QXAGENT_STARTED, Inbox::note, nullptr, nullptr), -1);
    EXPECT_EQ(qx_plix_read_event_fd(0, 1), -1);
    qx_plix_unsubscribe(QX_PLIX_QXAGENT_STARTED);
}

TEST_F(Agent, ReadsTheVersionFromARegularFileOnly) {
    ::alarm(30); // opening a FIFO would wait
    const fs::path moved = kInstallDir / "moved";
    fs::rename(kVersionFile, moved);
    fs::create_symlink(moved, kVersionFile);
    EXPECT_EQ(start(nullptr), kDown);
    fs::remove(kVersionFile);
    fs::create_directory(kVersionFile);
    EXPECT_EQ(start(nullptr), kUnlocked);
    fs::remove(kVersionFile);
    require(::mkfifo(kVersionFile.c_str(), 0644) == 0, "mkfifo");
    EXPECT_EQ(start(nullptr), kUnlocked);
    const qx::io::descriptor writer(::open(kVersionFile.c_str(), O_RDWR));
    struct flock lock {};
    lock.l_type = F_WRLCK;
    require(::fcntl(writer.get(), F_OFD_SETLK, &lock) == 0 && ::write(writer.get(), "1.3", 3) == 3,
            "FIFO");
    EXPECT_EQ(start(nullptr), "-1");
}

TEST_F(Agent, TruncatesTheVersionFilesPathTo4094Characters) {
    const std::string cut = "/var/run/qxbrokerd.vers";
    fs::rename(kVersionFile, kInstallDir.string() + cut);
    std::string directory = kInstallDir;
    directory.resize(4094 - cut.size(), '/');
    EXPECT_EQ(start(directory.c_str()), "0");
    EXPECT_EQ(qx_plix_uninit(), 0);
    EXPECT_EQ(start((directory + "/").c_str()), kDown);
}

TEST_F(Agent, StartsAndStopsAtOnceAsOftenAsAsked) {
    const auto before = open_descriptors();
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(start(round == 1 ? kInstallDir.c_str() : nullptr), "0");
        EXPECT_EQ(qx_plix_init(), -1) << "it is started already";
        EXPECT_EQ(stopped, 0);
        const auto stopping = std::chrono::steady_clock::now();
        EXPECT_EQ(qx_plix_uninit(), 0);
        EXPECT_LT(since(stopping).count(), 500);
        EXPECT_EQ(stopped, 1);
        EXPECT_TRUE(broker.requests().empty());
        settle(0);
        EXPECT_EQ(open_descriptors(), before);
    }
}

TEST_F(Agent, AnotherInstallDirectoryIsUsedUntilTheStop) {
    const LockedVersionFile elsewhere("/opt/elsewhere");
    fs::remove_all(kInstallDir);
    EXPECT_EQ(start(nullptr), "-1");
    EXPECT_EQ(start("/opt/elsewhere"), "0");
    EXPECT_EQ(qx_plix_uninit(), 0);
    EXPECT_EQ(start(nullptr), "-1");
}

std::set<fs::path> threads() {
    using fs::directory_iterator;
    return {directory_iterator("/proc/self/task"), directory_iterator()};
}

// The signals that a thread blocks, and those that nobody can block or the C library keeps.
std::uint64_t blocked_signals(const fs::path& thread) {
    std::uint64_t mask = 0;
    for (const int never : {SIGKILL, SIGSTOP, 32, 33, 34}) {
        mask |= std::uint64_t{1} << (never - 1);
    }
    const std::string status = read_file(thread / "status");
    return mask | std::stoull(status.substr(status.find("SigBlk:") + 7), nullptr, 16);
}

TEST_F(Agent, SignalsAreTheApplicationsAlone) {
    if (kEmulated) {
        GTEST_SKIP() << "the emulator's own threads have masks of its making";
    }
    const auto before = threads();
    const std::uint64_t own = blocked_signals("/proc/thread-self");
    Inbox inbox;
    ASSERT_EQ(qx_plix_init(), 0);
    ASSERT_EQ(qx_plix_subscribe(QX_PLIX_QXAGENT_STARTED, inbox.note, &inbox, nullptr), 0);
    broker.emit("qxagent_started", "1");
    inbox.wait_for(1); // the thread has come so far that its mask is its own
    EXPECT_EQ(blocked_signals("/proc/thread-self"), own);
    EXPECT_EQ(threads().size(), before.size() + 1);
    for (const auto& thread : threads()) {
        EXPECT_TRUE(before.count(thread) > 0 || blocked_signals(thread) == UINT64_MAX);
    }
    qx_plix_uninit();
}

// Half of the larger of the platform's default and 1 MiB.
std::size_t half_a_stack() {
    std::size_t size = 0;
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_getstacksize(&attributes, &size);
    ::pthread_attr_destroy(&attributes);
    return std::max(size, std::size_t{1} << 20) / 2;
}

TEST_F(Agent, CallbacksHaveThePlatformsStackSize) {
    if (kSanitized) {
        GTEST_SKIP() << "a sanitizer sees every byte of such an array";
    }
    std::atomic<bool> called{false};
    const auto use_stack = [](const char*, void* flag) {
        const std::size_t size = half_a_stack();
        std::memset(::alloca(size), 1, size);
        *static_cast<std::atomic<bool>*>(flag) = true;
    };
    ASSERT_EQ(qx_plix_init(), 0);
    ASSERT_EQ(qx_plix_subscribe(QX_PLIX_QXAGENT_STARTED, use_stack, &called, nullptr), 0);
    broker.emit("qxagent_started", "1");
    wait_until([&] { return called.load(); });
    qx_plix_uninit();
}

// Uses the library in a forked child. Returns one bit for each step that failed.
int use_as_child(int event_fd) {
    int fd = -1;
    Inbox inbox;
    const auto subscribe = [&] {
        return qx_plix_subscribe(QX_PLIX_VA_STATUS_CHANGED, Inbox::note, &inbox, &fd);
    };
    const auto is_uninitialised = [&] {
        return stopped == 1 && subscribe() == -1 && qx_plix_read_event_fd(event_fd, 0) == -1;
    };
    int failed = is_uninitialised() ? 0 : 1;
    qx_plix_unsubscribe(QX_PLIX_QXAGENT_STARTED);
    const std::size_t copies = open_descriptors().size();
    failed |= qx_plix_uninit() + qx_plix_uninit() == 0 ? 0 : 2;
    // Two connections, both ends of a pipe, the epoll set and the eventfd.
    failed |= open_descriptors().size() + 6 == copies ? 0 : 4;
    if (!kSanitized) { // a sanitizer cannot start threads in a forked child
        failed |= qx_plix_init() == 0 && subscribe() == 0 && read_until(fd, 0, inbox, 1) ? 0 : 8;
        failed |= qx_plix_uninit() == 0 && open_descriptors().size() + 6 == copies ? 0 : 16;
    }
    return failed;
}

TEST_F(Agent, AForkedChildRestartsWithoutAffectingItsParent) {
    struct Hold {
        std::atomic<bool> begun{false};
        std::atomic<bool> over{false};
        std::atomic<int> calls{0};
    } hold;
    const auto wait = [](const char*, void* data) {
        auto& self = *static_cast<Hold*>(data);
        self.begun = true;
        wait_until([&] { return self.over.load(); });
        ++self.calls;
    };
    Inbox inbox;
    int fd = -1;
    ASSERT_EQ(qx_plix_init(), 0);
    ASSERT_EQ(qx_plix_subscribe(QX_PLIX_QXAGENT_STARTED, Inbox::note, &inbox, &fd), 0);
    ASSERT_EQ(qx_plix_subscribe(QX_PLIX_DEVICE_DISCOVERY, wait, &hold, nullptr), 0);
    broker.reply("va_status_changed", {framed(kOk) + framed("1")});
    broker.emit("device_discovery", "1");
    wait_until([&] { return hold.begun.load(); });
    EXPECT_EQ(Forked([&] { return use_as_child(fd); }).wait(), 0) << "forked under the lock";
    hold.over = true;
    broker.emit("device_discovery", "2");
    broker.emit("qxagent_started", "1");
    wait_until([&] { return hold.calls == 2; });
    read_until(fd, 1, inbox, 1);
    EXPECT_EQ(qx_plix_uninit(), 0);
    broker.wait_for_connections(0);
}

TEST_F(Agent, AForkedChildFindsNoLockTaken) {
    ASSERT_EQ(qx_plix_init(), 0);
    std::atomic<bool> over{false};
    std::thread caller([&over] {
        while (!over) {
            qx_plix_set_warning_cb(nullptr, nullptr);
            qx_plix_require_broker_uid(QX_PLIX_BROKER_UID_DEFAULT);
        }
    });
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(Forked([] {
                      ::alarm(5);
                      qx_plix_set_warning_cb(nullptr, nullptr);
                      return qx_plix_enable() + qx_plix_uninit();
                  }).wait(),
                  0);
    }
    over = true;
    caller.join();
    EXPECT_EQ(qx_plix_uninit(), 0);
}

TEST_F(Agent, AChildForkedInACallbackGetsNoFurtherEvents) {
    struct Fork {
        int calls = 0;
        pid_t child = -1;
    } forked;
    const auto fork_once = [](const char*, void* data) {
        auto& self = *static_cast<Fork*>(data);
        self.child = ++self.calls == 1 ? ::fork() : self.child;
    };
    int fd = -1;
    ASSERT_EQ(qx_plix_init(), 0);
    ASSERT_EQ(qx_plix_subscribe(QX_PLIX_QXAGENT_STARTED, fork_once, &forked, &fd), 0);
    broker.emit_raw("qxagent_started", framed("1") + framed("2"));
    wait_until([&] {
        int bytes = 0;
        return ::ioctl(fd, FIONREAD, &bytes) == 0 && bytes == 2;
    });
    EXPECT_EQ(qx_plix_read_event_fd(fd, 1), 0);
    if (forked.child == 0) {
        ::_exit(forked.calls);
    }
    EXPECT_EQ(forked.calls, 2);
    int how = 0;
    ASSERT_EQ(::waitpid(forked.child, &how, 0), forked.child);
    EXPECT_TRUE(WIFEXITED(how) && WEXITSTATUS(how) == 1) << how;
    EXPECT_EQ(qx_plix_uninit(), 0);
}

} // namespace
