// Every allocation and every system call of listen fails once, while events come and, in the end, a
// signal.

#include "broker_client.h"
#include "fault.h"
#include "world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <sstream>

namespace {

using namespace qx::test;
using ::testing::AnyOf;
using Clock = std::chrono::steady_clock;

const std::string kEvent = R"({"event_name": "QX_PLIX_VA_STATUS_CHANGED", "data": {"tick": true}})"
                           "\n";

class FaultsOfListen : public ::testing::Test {
protected:
    /// Listens until three events have come or, where the fault has ended receiving, a while has
    /// passed.
    static FaultyRun listen(const std::string& fault) {
        const auto environment = fault_environment(fault);
        Process tool(
            {QX_TOOL, "listen", "--events=QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_QXAGENT_STARTED"},
            environment);
        const bool came = tool.reads_output(kEvent, 3, std::chrono::milliseconds(1500));
        tool.signal(SIGTERM);
        const auto since = Clock::now();
        FaultyRun run = read_report(tool.finish());
        EXPECT_LT(Clock::now() - since, std::chrono::seconds(2));
        EXPECT_TRUE(came || run.fired) << "no event came";
        return run;
    }

    static void check(const FaultyRun& run, bool is_allocation, const FaultyRun& untouched) {
        if (run.outcome.signal != 0) {
            EXPECT_EQ(run.outcome.signal, SIGABRT);
            EXPECT_TRUE(is_allocation);
        } else {
            EXPECT_THAT(run.outcome.status, AnyOf(0, 1));
            EXPECT_EQ(run.open, std::vector<std::string>());
            for (const auto& [size, count] : run.live) {
                const auto before = untouched.live.find(size);
                EXPECT_LE(count, before == untouched.live.end() ? 0 : before->second)
                    << "leaked " << size;
            }
        }
        std::istringstream lines(run.outcome.out);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_EQ(line + "\n", kEvent);
        }
    }

    static long fail_each(const std::string& call, const std::string& action, long step) {
        const FaultyRun untouched = listen("");
        EXPECT_EQ(untouched.outcome.status, 0);
        long tried = 0;
        for (long n = 1; !HasFailure(); n += step) {
            const std::string fault = call + ":" + std::to_string(n) + ":" + action;
            SCOPED_TRACE(fault);
            const FaultyRun run = listen(fault);
            check(run, call == "alloc", untouched);
            if (!run.fired || n > kMost) {
                break;
            }
            ++tried;
        }
        return tried;
    }

    // Events keep coming, so that some calls never end.
    static constexpr long kMost = 1000;

    Simulator simulator_{R"({"events": [{"event": "va_status_changed", "data": {"tick": true},
        "times": 0, "every_ms": 5}]})"};
};

TEST_F(FaultsOfListen, Allocations) {
    const long tried = fail_each("alloc", std::to_string(ENOMEM), fault_step(29));
    EXPECT_GT(tried, 0);
    count_faults(tried, 0);
}

TEST_F(FaultsOfListen, SystemCalls) {
    const std::pair<const char*, std::vector<std::string>> calls[] = {
        {"socket", {std::to_string(EMFILE)}},
        {"connect", {std::to_string(ECONNREFUSED)}},
        {"send", {std::to_string(EPIPE), std::to_string(EINTR), "short"}},
        {"recv", {std::to_string(ECONNRESET), std::to_string(EINTR), "short"}},
        {"read", {std::to_string(EIO), std::to_string(EINTR), "short"}},
        {"write", {std::to_string(EIO), std::to_string(EINTR), "short"}},
        {"epoll_create1", {std::to_string(EMFILE)}},
        {"epoll_ctl", {std::to_string(ENOMEM), std::to_string(ENOSPC)}},
        {"epoll_wait", {std::to_string(EBADF), std::to_string(EINTR)}},
        {"eventfd", {std::to_string(EMFILE)}},
        {"pipe2", {std::to_string(EMFILE)}},
        {"signalfd", {std::to_string(EMFILE)}},
        {"sigprocmask", {std::to_string(EINVAL)}},
        {"poll", {std::to_string(ENOMEM), std::to_string(EINTR)}},
        {"fcntl", {std::to_string(EMFILE)}},
        {"shutdown", {std::to_string(ENOTCONN)}},
        {"close", {std::to_string(EIO)}},
        {"pthread_create", {std::to_string(EAGAIN)}},
        {"pthread_mutex_init", {std::to_string(ENOMEM)}},
    };
    long tried = 0;
    for (const auto& [call, actions] : calls) {
        for (const std::string& action : actions) {
            tried += fail_each(call, action, fault_step(7));
        }
    }
    EXPECT_GT(tried, 0);
    count_faults(0, tried);
}

} // namespace
