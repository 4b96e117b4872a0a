#include "agent_fixture.h"

#include <csignal>
#include <ctime>

namespace {

using qx::test::Agent;
using qx::test::kInstallDir;
using qx::test::LockedVersionFile;
using qx::test::open_descriptors;
using qx::test::TestBroker;

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
    std::filesystem::create_directories(kInstallDir);
    const auto before = open_descriptors();
    EXPECT_EQ(start(nullptr), kDown);
    qx::test::write_file(kInstallDir / "var/run/qxbrokerd.version", "1.3");
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
    EXPECT_EQ(qx_plix_subscribe(QX_PLIX_QXAGENT_STARTED, qx::test::Inbox::note, nullptr, nullptr),
              -1);
    EXPECT_EQ(qx_plix_read_event_fd(0, 1), -1);
    qx_plix_unsubscribe(QX_PLIX_QXAGENT_STARTED);
}

TEST_F(Agent, StartsAndStopsAtOnceAsOftenAsAsked) {
    const auto before = open_descriptors();
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(start(round == 1 ? kInstallDir.c_str() : nullptr), "0");
        EXPECT_EQ(qx_plix_init(), -1) << "it is started already";
        EXPECT_EQ(stopped, 0);
        const auto stopping = std::chrono::steady_clock::now();
        EXPECT_EQ(qx_plix_uninit(), 0);
        EXPECT_LT(qx::test::since(stopping).count(), 500);
        EXPECT_EQ(stopped, 1);
        EXPECT_TRUE(broker.requests().empty());
        settle(0);
        EXPECT_EQ(open_descriptors(), before);
    }
}

TEST_F(Agent, AnotherInstallDirectoryIsUsedUntilTheStop) {
    const LockedVersionFile elsewhere("/opt/elsewhere");
    std::filesystem::remove_all(kInstallDir);
    EXPECT_EQ(start(nullptr), "-1");
    EXPECT_EQ(start("/opt/elsewhere"), "0");
    EXPECT_EQ(qx_plix_uninit(), 0);
    EXPECT_EQ(start(nullptr), "-1");
}

TEST(Signals, ReachTheApplicationAndNeverTheLibrary) {
    // The default action of the signal, taken on any thread, would end the test.
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &signals, nullptr), 0);
    const LockedVersionFile version_file(kInstallDir);
    const TestBroker broker;
    ASSERT_EQ(::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr), 0);
    ASSERT_EQ(qx_plix_init(), 0);
    sigset_t mask;
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &signals, &mask), 0);
    EXPECT_EQ(::sigismember(&mask, SIGTERM), 0) << "the caller's mask has changed";
    ASSERT_EQ(::kill(::getpid(), SIGTERM), 0);
    const timespec patience{30, 0};
    EXPECT_EQ(::sigtimedwait(&signals, nullptr, &patience), SIGTERM);
    qx_plix_uninit();
}

} // namespace
