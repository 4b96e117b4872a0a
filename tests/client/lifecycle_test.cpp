#include "agent_fixture.h"
#include "base/descriptor.h"
#include "forked.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>

namespace {

using namespace qx::test;
using ::testing::IsEmpty;
using Clock = std::chrono::steady_clock;

constexpr const char* kDown = "Daemon is down or you are running an older version of it\n";
constexpr const char* kUnlocked = "Daemon is down or you need to try again later\n";

using ClientLibrary = Agent;

// Starts the library. Returns its message on standard error, or the result of the call if there is
// no message.
std::string start(const char* install_path = nullptr) {
    testing::internal::CaptureStderr();
    const int result = install_path == nullptr ? qx_plix_init() : qx_plix_init2(install_path);
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result == 0, stopped == 0);
    EXPECT_TRUE(result == -1 || text.empty()) << text;
    return text.empty() ? std::to_string(result) : text;
}

std::string wrong_version(const std::string& version) {
    return "Wrong Protocol Version: Daemon=(" + version + ") vs Client=(1.3)\n";
}

TEST(Init, FailsWithoutARunningBrokerOfTheSameVersion) {
    EXPECT_EQ(start(), "-1") << "no install directory";
    fs::create_directories(kInstallDir);
    const auto before = open_descriptors();
    EXPECT_EQ(start(), kDown);
    write_file(kVersionFile, "1.3");
    EXPECT_EQ(start(), kUnlocked);
    const std::pair<std::string, std::string> cases[] = {
        {"1.3", "-1"}, // no broker accepts connections
        {"", "-1"},
        {"1.2", wrong_version("1.2")},
        {"1.3\n", wrong_version("1.3\n")},
        {"1.33", wrong_version("1.33")},
        {"1.2\n1.3", wrong_version("1.2\n")},
        {"\n1.3", wrong_version("\n")},
        {std::string(40, '7'), wrong_version(std::string(32, '7'))},
    };
    for (const auto& [file, outcome] : cases) {
        const LockedVersionFile version_file(kInstallDir, file);
        EXPECT_EQ(start(), outcome) << file;
    }
    EXPECT_EQ(start(std::string(5000, 'x').c_str()), kDown);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(qx_plix_uninit(), 0);
    EXPECT_EQ(qx_plix_subscribe(kStarted, Inbox::note, nullptr, nullptr), -1);
    EXPECT_EQ(qx_plix_read_event_fd(0, 1), -1);
    qx_plix_unsubscribe(kStarted);
}

TEST_F(ClientLibrary, RejectsAVersionFileThatIsNotRegular) {
    const fs::path moved = kInstallDir / "moved";
    fs::rename(kVersionFile, moved);
    fs::create_symlink(moved, kVersionFile);
    EXPECT_EQ(start(), kDown);
    fs::remove(kVersionFile);
    fs::create_directory(kVersionFile);
    EXPECT_EQ(start(), kUnlocked);
    fs::remove(kVersionFile);
    require(::mkfifo(kVersionFile.c_str(), 0644) == 0, "mkfifo");
    EXPECT_EQ(start(), kUnlocked) << "init does not wait for a writer of the FIFO";
    const qx::io::descriptor writer(::open(kVersionFile.c_str(), O_RDWR));
    struct flock lock {};
    lock.l_type = F_WRLCK;
    require(::fcntl(writer.get(), F_OFD_SETLK, &lock) == 0 && ::write(writer.get(), "1.3", 3) == 3,
            "FIFO");
    EXPECT_EQ(start(), "-1");
}

TEST_F(ClientLibrary, TruncatesTheVersionFilesPathTo4094Characters) {
    const std::string cut = "/var/run/qxbrokerd.vers";
    fs::rename(kVersionFile, kInstallDir.string() + cut);
    std::string directory = kInstallDir;
    directory.resize(4094 - cut.size(), '/');
    EXPECT_EQ(start(directory.c_str()), "0");
    EXPECT_EQ(qx_plix_uninit(), 0);
    EXPECT_EQ(start((directory + "/").c_str()), kDown);
}

TEST_F(ClientLibrary, StartsRepeatedlyAndStopsWithoutDelay) {
    const auto before = open_descriptors();
    auto quickest = since(Clock::time_point());
    for (int round = 0; round < 3; ++round) {
        std::atomic<int> event_thread{-1};
        Inbox inbox([&] { event_thread = open_own_stat(); });
        EXPECT_EQ(start(round == 1 ? kInstallDir.c_str() : nullptr), "0");
        EXPECT_EQ(qx_plix_init(), -1) << "the library is already started";
        EXPECT_EQ(stopped, 0);
        EXPECT_THAT(broker.requests(), IsEmpty());
        listen(kStarted, inbox);
        broker.emit(kStartedName, "1");
        wait_until([&] { return event_thread >= 0 && sleeps(event_thread); });
        const auto stopping = Clock::now();
        EXPECT_EQ(qx_plix_uninit(), 0);
        quickest = std::min(quickest, since(stopping));
        EXPECT_EQ(stopped, 1);
        ::close(event_thread);
        settle(0);
        EXPECT_EQ(open_descriptors(), before);
    }
    EXPECT_LT(quickest.count(), 500) << "uninit did not wake the event thread";
}

TEST_F(ClientLibrary, UsesAnotherInstallDirectoryUntilUninit) {
    const LockedVersionFile elsewhere("/opt/elsewhere");
    fs::remove_all(kInstallDir);
    EXPECT_EQ(start(), "-1");
    EXPECT_EQ(start("/opt/elsewhere"), "0");
    EXPECT_EQ(qx_plix_uninit(), 0);
    EXPECT_EQ(start(), "-1");
}

// Returns how many of ending_signals() the calling thread does not block.
std::ptrdiff_t count_accepted_signals() {
    sigset_t blocked;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    const std::vector<int> signals = ending_signals();
    return std::count_if(signals.begin(), signals.end(),
                         [&](int signal) { return ::sigismember(&blocked, signal) == 0; });
}

std::size_t stack_size(int (*get_attributes)(pthread_attr_t*)) {
    pthread_attr_t attributes;
    get_attributes(&attributes);
    std::size_t size = 0;
    ::pthread_attr_getstacksize(&attributes, &size);
    ::pthread_attr_destroy(&attributes);
    return size;
}

TEST_F(ClientLibrary, BlocksAllSignalsOnItsThreadAndGivesItAFullStack) {
    std::ptrdiff_t accepted = -1;
    std::size_t stack = 0;
    Inbox inbox([&] {
        accepted = count_accepted_signals();
        stack = stack_size([](auto* own) { return ::pthread_getattr_np(::pthread_self(), own); });
    });
    const std::ptrdiff_t own = count_accepted_signals();
    ASSERT_EQ(qx_plix_init(), 0);
    EXPECT_EQ(count_accepted_signals(), own);
    listen(kStarted, inbox);
    broker.emit(kStartedName, "1");
    inbox.wait_for(1);
    qx_plix_uninit();
    // An emulator sets the signal masks of its threads itself.
    EXPECT_TRUE(accepted == 0 || kEmulated) << "the event thread accepts signals";
    EXPECT_GE(stack, std::max(stack_size(::pthread_attr_init), std::size_t{1} << 20));
}

void use_as_child(int parents_fd) {
    int fd = -1;
    Inbox inbox;
    EXPECT_EQ(stopped, 1);
    EXPECT_EQ(qx_plix_subscribe(kScan, Inbox::note, &inbox, &fd), -1);
    EXPECT_EQ(qx_plix_read_event_fd(parents_fd, 0), -1);
    qx_plix_unsubscribe(kStarted);
    const std::size_t copies = open_descriptors().size();
    EXPECT_EQ(qx_plix_uninit(), 0);
    EXPECT_EQ(qx_plix_uninit(), 0);
    // Uninit closes the inherited descriptors: two connections, both ends of a pipe, the epoll set
    // and the eventfd.
    EXPECT_EQ(open_descriptors().size() + 6, copies);
    if (!kSanitized) { // a sanitizer cannot start threads in a forked child
        EXPECT_EQ(qx_plix_init(), 0);
        EXPECT_EQ(qx_plix_subscribe(kScan, Inbox::note, &inbox, &fd), 0);
        read_until(fd, 0, inbox, 1);
        EXPECT_EQ(qx_plix_uninit(), 0);
        EXPECT_EQ(open_descriptors().size() + 6, copies);
    }
}

void start_as_child() {
    const std::size_t copies = open_descriptors().size();
    EXPECT_EQ(qx_plix_init(), 0);
    EXPECT_EQ(open_descriptors().size() + 6, copies + 2)
        << "init opens an epoll set and an eventfd";
    EXPECT_EQ(qx_plix_uninit(), 0);
}

TEST_F(ClientLibrary, RestartsInAForkedChildWithoutAffectingTheParent) {
    std::atomic<bool> over{false};
    Inbox held([&] { wait_until([&] { return over.load(); }); });
    Inbox inbox;
    ASSERT_EQ(qx_plix_init(), 0);
    const int fd = subscribe(kStarted, inbox);
    listen(QX_PLIX_DEVICE_DISCOVERY, held);
    broker.reply(kScanName, {framed(kOk) + framed("1")});
    broker.emit("device_discovery", "1");
    held.wait_for(1);
    EXPECT_TRUE(succeeds_in_child([&] { use_as_child(fd); }))
        << "a callback held the registrar's lock at the fork";
    EXPECT_TRUE(kSanitized || succeeds_in_child(start_as_child));
    over = true;
    broker.emit("device_discovery", "2");
    broker.emit(kStartedName, "1");
    held.wait_for(2);
    read_until(fd, 1, inbox, 1);
    EXPECT_EQ(qx_plix_uninit(), 0);
    broker.wait_for_connections(0);
}

TEST_F(ClientLibrary, HoldsNoLockInAForkedChild) {
    ASSERT_EQ(qx_plix_init(), 0);
    std::atomic<bool> over{false};
    std::thread caller([&over] {
        while (!over) {
            qx_plix_set_warning_cb(nullptr, nullptr);
            qx_plix_require_broker_uid(QX_PLIX_BROKER_UID_DEFAULT);
        }
    });
    for (int i = 0; i < 100 && !HasFailure(); ++i) {
        EXPECT_TRUE(succeeds_in_child([] {
            ::alarm(kPatience.count());
            qx_plix_set_warning_cb(nullptr, nullptr);
            EXPECT_EQ(qx_plix_enable(), 0);
            EXPECT_EQ(qx_plix_uninit(), 0);
        }));
    }
    over = true;
    caller.join();
    EXPECT_EQ(qx_plix_uninit(), 0);
}

TEST_F(ClientLibrary, DeliversNoMoreEventsToAChildForkedInACallback) {
    pid_t child = -1;
    Inbox forks([&] { child = forks.count() == 1 ? ::fork() : child; });
    ASSERT_EQ(qx_plix_init(), 0);
    const int fd = subscribe(kStarted, forks);
    broker.emit_raw(kStartedName, framed("1") + framed("2"));
    wait_until([&] { return bytes_in(fd) == 2; });
    EXPECT_EQ(qx_plix_read_event_fd(fd, 1), 0);
    if (child == 0) {
        end_child(static_cast<int>(forks.count()));
    }
    EXPECT_EQ(forks.count(), 2);
    int how = 0;
    ASSERT_EQ(::waitpid(child, &how, 0), child);
    EXPECT_TRUE(WIFEXITED(how) && WEXITSTATUS(how) == 1) << how;
    EXPECT_EQ(qx_plix_uninit(), 0);
}

} // namespace
