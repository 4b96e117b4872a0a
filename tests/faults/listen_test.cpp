// Every allocation and every system call of listen fails once, while events come and, in the end, a
// signal.

#include "broker_client.h"
#include "fault.h"

#include <cerrno>
#include <set>

namespace {

using namespace qx::test;
using Clock = std::chrono::steady_clock;

// More than a pipe takes in one piece.
const std::string kData = R"({"tick": ")" + std::string(5000, 'x') + "\"}";
const std::string kEvent = printed("va_status_changed", kData);

struct Listening {
    FaultyRun run;
    bool came = false; ///< three events did
};

class FaultsOfListen : public ::testing::Test {
protected:
    static Listening listen(const std::string& fault) {
        const auto environment = fault_environment(fault);
        Process tool(
            {QX_TOOL, "listen", "--events=QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_QXAGENT_STARTED"},
            environment);
        const bool came = tool.reads_output(kEvent, 3, std::chrono::milliseconds(2000));
        const auto since = Clock::now();
        Listening listening{read_report(tool.stop()), came};
        EXPECT_LT(Clock::now() - since, std::chrono::seconds(2));
        return listening;
    }

    static void check(const Fault& fault, const Listening& listening) {
        const Outcome& outcome = listening.run.outcome;
        // The thread that receives events ends silently then, by design.
        const bool may_be_deaf =
            fault.call == "epoll_wait" && fault.action != std::to_string(EINTR);
        if (outcome.signal == 0 && outcome.status != 1) {
            EXPECT_TRUE(listening.came || may_be_deaf) << "no event came";
        }
        if (!listening.run.fired || fault.is_made_up_for()) {
            EXPECT_EQ(outcome.status, 0);
            EXPECT_EQ(outcome.err, "");
        } else if (fault.action == std::to_string(EINTR)) {
            EXPECT_THAT(outcome.err, ::testing::MatchesRegex("(Failed to subscribe[^\n]+\n)?"));
        }
        for (const std::string& line : lines_of(outcome.out)) {
            EXPECT_EQ(line + "\n", kEvent);
        }
    }

    Simulator simulator_{R"({"events": [{"event": "va_status_changed", "data": )" + kData +
                         R"(, "times": 0, "every_ms": 5}]})"};
};

TEST_F(FaultsOfListen, OfEachCall) {
    const Listening untouched = listen("");
    check({"", 0, ""}, untouched);
    for (const Fault& fault : list_faults(untouched.run, 17)) {
        SCOPED_TRACE(fault.text());
        const Listening listening = listen(fault.text());
        check_end(fault, listening.run, untouched.run);
        check(fault, listening);
    }
}

TEST_F(FaultsOfListen, AreToldByName) {
    const std::tuple<const char*, int, const char*> rows[] = {
        {"epoll_create1", EMFILE, "epoll_create1(): Too many open files\n"},
        {"signalfd", EMFILE, "failed to set up signal handling: Too many open files\n"},
        {"sigprocmask", EINVAL, "failed to set up signal handling: Invalid argument\n"},
        {"timer_create", EAGAIN,
         "failed to set up signal handling: Resource temporarily unavailable\n"},
        {"epoll_ctl", ENOSPC, "epoll_set_fd_ro: No space left on device\n"},
        {"epoll_wait", EBADF, "epoll_wait(): Bad file descriptor\n"},
        {"read", EIO, "failed to read qx event\n"},
        {"write", ENOSPC, "standard output: No space left on device\n"},
    };
    for (const auto& [call, error, text] : rows) {
        // The library makes such calls too, so which of them is listen's is tried out.
        bool told = false;
        for (long at = 1; at <= 20 && !told; ++at) {
            const Outcome outcome =
                listen(Fault{call, at, std::to_string(error)}.text()).run.outcome;
            told = outcome.status == 1 && outcome.err == text;
        }
        EXPECT_TRUE(told) << text;
    }
}

// What the tool calls is what the lists of faults name.
TEST_F(FaultsOfListen, AreTriedForEachCallThatTheToolMakes) {
    std::set<std::string> made;
    const auto note = [&](const FaultyRun& run) {
        for (const auto& [call, times] : run.calls) {
            made.insert(call);
        }
    };
    note(listen("").run);
    write_file(kSettingsFile, R"({"/agent/protection_enabled": "1"})");
    note(run_tool_with_fault({"set_registration_cloud", "--cloud=staging"}, ""));
    // Everybody may write there, so that modes are corrected and a line is logged.
    fs::permissions(kInstallDir / "etc", fs::perms(0777));
    fs::permissions(kSettingsFile, fs::perms(0666));
    note(run_tool_with_fault({"set_quillet_location", "staging"}, "rename:1:5"));
    made.erase("any");
    std::set<std::string> tried;
    for (const Call& call : kCalls) {
        tried.insert(call.name);
    }
    EXPECT_EQ(tried, made);
    // The system calls that the tool imports and nothing stands in front of. ftruncate for a torn
    // line of the log and getrandom for the settings' reserve are called only when another call has
    // failed.
    EXPECT_EQ(
        output_of({"sh", "-c", R"(
        find /usr/include -path '*/asm/unistd*' -exec sed -n 's/.*__NR_\([a-z_0-9]*\).*/\1/p' {} + >/opt/calls
        nm -D "$1" | sed -n 's/.* T //p' >/opt/wrapped
        nm -D "$0" | sed -n 's/.* U \([a-z_0-9]*\).*/\1/p' | grep -xFf /opt/calls | grep -vxFf /opt/wrapped)",
                   QX_TOOL, QX_FAULTS}),
        "clock_gettime\nftruncate\ngeteuid\ngetpid\ngetrandom\ngetrlimit\ngetsid\ngettimeofday\n"
        "kill\nlseek\nreaddir\nsched_yield\nsigaction\nsignal\nsigpending\ntimer_settime\numask\n");
}

} // namespace
