// Runs the operation `listen`, each time with a fault in one allocation or system call. Events
// arrive during each run, and a signal ends the run.

#include "broker_client.h"
#include "fault.h"

#include <unistd.h>

namespace {

using namespace qx::test;
using namespace ::testing;
using namespace std::chrono_literals;

// Larger than PIPE_BUF, so that a write to a pipe is not atomic.
const std::string kData = R"({"tick": ")" + std::string(5000, 'x') + "\"}";
const std::string kEvent = printed("va_status_changed", kData);

bool interrupts(const Fault& fault) {
    return fault.action == QX_FAIL && fault.detail == EINTR;
}

/// Returns whether the fault may end the event thread. If that thread ends, it prints no message,
/// and no further event arrives.
bool may_deafen(const Fault& fault) {
    return fault.call == QX_CALL_epoll_wait && !interrupts(fault);
}

class ListenFaults : public Test {
protected:
    /// Listens until three events have arrived or no more can arrive.
    FaultyRun listen(const Fault& fault) {
        return run_with_fault(fault, [&](Variables environment) {
            environment["QX_TIMEOUT"] = "30";
            environment["NOTIFY_SOCKET"] = "@nobody";
            Process tool(
                {QX_TOOL, "listen", "--events=QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_QXAGENT_STARTED"},
                environment);
            const std::chrono::milliseconds time = may_deafen(fault) ? 500ms : kPatience;
            events_came_ = tool.reads_output(kEvent, 3, time);
            return tool.stop();
        });
    }

    void check(const Fault& fault, const FaultyRun& run) const {
        const Outcome& outcome = run.outcome;
        if (outcome.signal == 0 && outcome.status != 1) {
            EXPECT_TRUE(events_came_ || may_deafen(fault)) << "fewer than three events arrived";
        }
        if (!run.fired || is_made_up_for(fault)) {
            EXPECT_EQ(outcome.status, 0);
            EXPECT_EQ(outcome.err, "");
        } else if (interrupts(fault)) {
            EXPECT_THAT(outcome.err, MatchesRegex("(Failed to subscribe[^\n]+\n)?"));
        }
        EXPECT_THAT(lines_of(outcome.out), Each(kEvent.substr(0, kEvent.size() - 1)));
    }

    bool events_came_ = false;
    Simulator simulator_{R"({"events": [{"event": "va_status_changed", "data": )" + kData +
                         R"(, "times": 0, "every_ms": 5}]})"};
};

using FaultCoverage = ListenFaults; // names the suite in failure reports

TEST_F(ListenFaults, AtAnyCallLeakNothingAndTearNoLine) {
    const FaultyRun untouched = listen(kNoFault);
    check(kNoFault, untouched);
    for (const Fault& fault : list_faults(untouched, 17)) {
        SCOPED_TRACE(text_of(fault));
        const FaultyRun run = listen(fault);
        check_end(fault, run, untouched);
        check(fault, run);
    }
}

TEST_F(ListenFaults, AreReportedOnStandardError) {
    const std::tuple<qx_call, int, const char*> rows[] = {
        {QX_CALL_epoll_create1, EMFILE, "epoll_create1(): Too many open files\n"},
        {QX_CALL_signalfd, EMFILE, "failed to set up signal handling: Too many open files\n"},
        {QX_CALL_sigprocmask, EINVAL, "failed to set up signal handling: Invalid argument\n"},
        {QX_CALL_timer_create, EAGAIN,
         "failed to set up signal handling: Resource temporarily unavailable\n"},
        {QX_CALL_epoll_ctl, ENOSPC, "epoll_set_fd_ro: No space left on device\n"},
        {QX_CALL_epoll_wait, EBADF, "epoll_wait(): Bad file descriptor\n"},
        {QX_CALL_read, EIO, "failed to read qx event\n"},
        {QX_CALL_write, ENOSPC, "standard output: No space left on device\n"},
    };
    for (const auto& [call, error, text] : rows) {
        // The client library makes such calls too. Try each call until the fault hits one that
        // listen itself makes.
        bool told = false;
        for (long at = 1; at <= 20 && !told; ++at) {
            const Outcome outcome = listen({call, at, QX_FAIL, error}).outcome;
            told = outcome.status == 1 && outcome.err == text;
        }
        EXPECT_TRUE(told) << text;
    }
}

TEST_F(FaultCoverage, MissesOnlyTheListedSystemCalls) {
    fs::remove_all(kLogFile.parent_path());
    write_file(kSettingsFile, R"({"/agent/protection_enabled": "1"})");
    const FaultyRun switched =
        run_with_fault(kNoFault, {"set_registration_cloud", "--cloud=staging"});
    // These modes make the tool call fchmod and log a warning. Settings of another user, which only
    // root can create, make it call fchown.
    fs::permissions(kInstallDir / "etc", fs::perms(0777));
    fs::permissions(kSettingsFile, fs::perms(0666));
    const bool is_others = ::chown(kSettingsFile.c_str(), 1, 1) == 0;
    const FaultyRun written =
        run_with_fault({QX_CALL_rename, 1, QX_FAIL, EIO}, {"set_quillet_location", "staging"});
    const FaultyRun listened = listen(kNoFault);
    for (std::size_t call = 0; call < QX_CALL_COUNT; ++call) {
        const bool made = switched.calls[call] + written.calls[call] + listened.calls[call] > 0;
        EXPECT_TRUE(made || (call == QX_CALL_fchown && !is_others)) << name_of(qx_call(call));
    }
    // Lists the system calls that the tool imports and the preloaded library does not wrap. Two of
    // them run only after another call has failed: ftruncate, which removes a torn line from the
    // log, and getrandom, which fills settings.json.reserve if fallocate is not supported.
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
