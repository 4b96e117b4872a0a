// Every allocation and every system call of every operation fails once. QX_FAULT_STEP=1 leaves none
// out.

#include "broker_client.h"
#include "fault.h"
#include "operations.h"
#include "world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <functional>
#include <sstream>

namespace fs = std::filesystem;

namespace {

using namespace qx::test;
using ::testing::MatchesRegex;

struct Call {
    const char* name;
    std::vector<int> errors;
    bool can_be_short = false;
};

const Call kCalls[] = {
    {"socket", {EMFILE, ENOMEM}},
    {"connect", {ECONNREFUSED, EAGAIN}},
    {"send", {EPIPE, EINTR}, true},
    {"recv", {ECONNRESET, EINTR}, true},
    {"open", {EMFILE, EACCES, EINTR}},
    {"read", {EIO, EINTR}, true},
    {"write", {ENOSPC, EINTR}, true},
    {"fsync", {EIO, EINTR}},
    {"rename", {EIO}},
    {"unlink", {EIO}},
    {"mkdir", {ENOSPC}},
    {"fcntl", {ENOLCK, EINTR}},
    {"flock", {ENOLCK, EINTR}},
    {"close", {EIO, EINTR}},
    {"epoll_create1", {EMFILE}},
    {"epoll_ctl", {ENOMEM}},
    {"epoll_wait", {EBADF, EINTR}},
    {"eventfd", {EMFILE}},
    {"pipe2", {EMFILE}},
    {"signalfd", {EMFILE}},
    {"poll", {ENOMEM, EINTR}},
    {"shutdown", {ENOTCONN}},
    {"fstat", {EIO}},
    {"stat", {EIO}},
    {"lstat", {EIO}},
    {"fchmod", {EPERM}},
    {"fchown", {EPERM}},
    {"dup2", {EMFILE}},
    {"execv", {ENOMEM}},
    {"fork", {EAGAIN}},
    {"waitpid", {ECHILD, EINTR}},
    {"setsid", {EPERM}},
    {"sigprocmask", {EINVAL}},
    {"readlink", {EIO}},
    {"realpath", {EIO}},
    {"fopen", {EMFILE}},
    {"pthread_create", {EAGAIN}},
    {"pthread_mutex_init", {ENOMEM}},
};

// The texts with which a failure may be told.
const char* const kTexts =
    "(Cannot start qxlog\n"
    "|Cannot read the settings: [^\n]+\n"
    "|Daemon is down or you (are running an older version of it|need to try again later)\n"
    "|Wrong Protocol Version: [^\n]+\n"
    "|standard output: write error\n"
    "|Failed to subscribe to event: [A-Z_]+\n"
    "|(failed to set up signal handling|epoll_[a-z_0-9]+(\\(\\))?): [^\n]+\n"
    "|failed to read qx event\n"
    "|(Failed setting the features|failed to register to cloud|[A-Z][a-z ]+ failed[^\n]*)\n"
    "|\\(ok\\) no error\n"
    "|error_code=[^\n]*\n"
    "|error:\n  code:        [0-9]+\n  message:     [^\n]*\n  description: [^\n]*\n"
    "|warning:\n  message:     [^\n]*\n"
    "|terminate called after throwing an instance of 'std::bad_alloc'\n"
    "|terminate called without an active exception\n|terminate called recursively\n"
    "|  what\\(\\):  std::bad_alloc\n)*";

const std::string kSettings =
    R"({"/agent/protection_enabled": "1", "/cirrel/registration/token": "t"})"
    "\n";

class Faults : public ::testing::TestWithParam<OperationCall> {
protected:
    Faults() {
        write_program(kInstallDir / "etc/init.d/qplix-qxcloudd");
        write_program(kInstallDir / "bin/qxcloudd");
    }

    static void write_program(const fs::path& file) {
        write_file(file, "#!/bin/sh\necho \"$1\" >>" + kRan.string() + "\n");
        fs::permissions(file, fs::perms::owner_all);
    }

    void as_before() {
        write_file(kStore, kSettings);
        fs::permissions(kStore, fs::perms(0644));
        write_file(kRan, "");
        fs::remove(kLog);
    }

    FaultyRun run(const std::string& fault) {
        as_before();
        return run_tool_with_fault(GetParam().words(), fault);
    }

    void learn() {
        const FaultyRun first = run("");
        untouched_ = run("");
        EXPECT_EQ(untouched_.outcome.status, 0) << untouched_.outcome.err;
        EXPECT_EQ(untouched_.outcome.out, first.outcome.out);
        EXPECT_EQ(untouched_.live, first.live);
        after_ = read_file(kStore);
    }

    /// Tries the faults of a call one after the other until one is not reached. How many were.
    long fail_each(const std::string& call, const std::string& action, long step) {
        long tried = 0;
        for (long n = 1; !HasFailure(); n += step) {
            const std::string fault = call + ":" + std::to_string(n) + ":" + action;
            SCOPED_TRACE(fault);
            const FaultyRun result = run(fault);
            check(result, call);
            if (!result.fired) {
                EXPECT_EQ(result.outcome.status, 0);
                break;
            }
            if (is_survived(call, action)) {
                EXPECT_EQ(result.outcome.status, 0);
            }
            ++tried;
        }
        return tried;
    }

    // What is interrupted or done by halves is done again or to its end.
    static bool is_survived(const std::string& call, const std::string& action) {
        return action == "short" ||
               (action == std::to_string(EINTR) && call != "send" && call != "recv");
    }

    void check(const FaultyRun& run, const std::string& call) {
        const Outcome& outcome = run.outcome;
        if (outcome.signal != 0) {
            EXPECT_EQ(outcome.signal, SIGABRT);
            EXPECT_EQ(call, "alloc") << "only a lack of memory may end the tool like this";
        } else {
            EXPECT_THAT(outcome.status, ::testing::AnyOf(0, 1, 255));
        }
        EXPECT_THAT(outcome.err, MatchesRegex(kTexts));
        check_output(outcome);
        check_left_behind(run);
        check_store(outcome);
        check_connector();
    }

    void check_output(const Outcome& outcome) {
        if (outcome.status == 0 && GetParam().name != std::string("get_router_info")) {
            EXPECT_EQ(outcome.out, untouched_.outcome.out);
        } else if (outcome.status != 0) {
            EXPECT_TRUE(outcome.out.empty() || outcome.out == untouched_.outcome.out)
                << outcome.out;
        }
    }

    void check_left_behind(const FaultyRun& run) {
        EXPECT_EQ(run.open, std::vector<std::string>());
        if (!run.ended) {
            return;
        }
        for (const auto& [size, count] : run.live) {
            const auto before = untouched_.live.find(size);
            EXPECT_LE(count, before == untouched_.live.end() ? 0 : before->second)
                << "leaked " << size;
        }
    }

    void check_store(const Outcome& outcome) {
        const std::string text = read_file(kStore);
        if (GetParam().name != std::string("set_registration_cloud")) {
            EXPECT_EQ(text, outcome.status == 0 ? after_ : kSettings);
        }
        for (const auto& entry : fs::directory_iterator(kStore.parent_path())) {
            EXPECT_THAT(entry.path().filename().string(),
                        ::testing::AnyOf("settings.json", "settings.json.lock", "init.d"));
        }
        const std::string log = fs::exists(kLog) ? read_file(kLog) : "";
        EXPECT_TRUE(text.find(R"("/agent/protection_enabled": "1")") != std::string::npos ||
                    log.find("Could not enable back the agent") != std::string::npos)
            << text << log;
    }

    void check_connector() {
        const std::string ran = read_file(kRan);
        EXPECT_TRUE(ran.find("stop") == std::string::npos || ran.find("start") > ran.find("stop"))
            << ran;
        EXPECT_TRUE(ran.find("stop") == std::string::npos || ran.find("start") != std::string::npos)
            << ran;
    }

    static inline const fs::path kStore = kInstallDir / "etc/settings.json";
    static inline const fs::path kLog = kInstallDir / "var/log/qxagent-manage.log";
    static inline const fs::path kRan = "/opt/ran";

    Simulator simulator_{R"({"commands": {"va_start": [{"status": 0, "times": 0}],
        "va_stop": [{"status": 0, "times": 0}], "va_self_scan_start": [{"status": 0, "times": 0}],
        "start_cloud_registration": [{"status": 0, "times": 0}]}})"};
    FaultyRun untouched_;
    std::string after_;
};

TEST_P(Faults, OfAllocations) {
    learn();
    const long tried = fail_each("alloc", std::to_string(ENOMEM), fault_step(11));
    EXPECT_GT(tried, 0);
    count_faults(tried, 0);
}

TEST_P(Faults, OfSystemCalls) {
    learn();
    long tried = 0;
    for (const Call& call : kCalls) {
        for (const int error : call.errors) {
            tried += fail_each(call.name, std::to_string(error), fault_step(3));
        }
        if (call.can_be_short) {
            tried += fail_each(call.name, "short", fault_step(3));
        }
    }
    count_faults(0, tried);
}

INSTANTIATE_TEST_SUITE_P(Each, Faults, ::testing::ValuesIn(kOperationCalls),
                         [](const auto& each) { return std::string(each.param.name); });

} // namespace
