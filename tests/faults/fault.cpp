#include "fault.h"

#include "operations.h"

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <sstream>

namespace qx::test {
namespace {

const fs::path kReport = "/opt/report";

// The texts with which a failure may be told.
const char* const kTexts =
    "(Cannot start qxlog\n"
    "|Cannot read the settings: [^\n]+\n"
    "|Daemon is down or you (are running an older version of it|need to try again later)\n"
    "|Wrong Protocol Version: [^\n]+\n"
    "|standard output: [^\n]+\n"
    "|Failed to subscribe to event: [A-Z_]+\n"
    "|(failed to set up signal handling|epoll_[a-z_0-9]+(\\(\\))?): [^\n]+\n"
    "|failed to read qx event\n"
    "|Failed (setting the features|getting the features( list)?)\n"
    "|(failed to register to cloud|[A-Z][a-z ]+ failed[^\n]*)\n"
    "|\\(ok\\) no error\n"
    "|error_code=[^\n]*\n"
    "|error:\n  code:        [0-9]+\n  message:     [^\n]*\n  description: [^\n]*\n"
    "|warning:\n  message:     [^\n]*\n"
    "|terminate called after throwing an instance of 'std::bad_alloc'\n"
    "|terminate called without an active exception\n|terminate called recursively\n"
    "|  what\\(\\):  std::bad_alloc\n)*";

std::vector<std::string> actions_of(const Call& call) {
    std::vector<std::string> actions;
    for (const int error : call.errors) {
        actions.push_back(std::to_string(error));
    }
    if (call.can_be_short) {
        actions.emplace_back("short");
    }
    return actions;
}

long& failed(bool allocations) {
    static long counts[2];
    return counts[allocations ? 1 : 0];
}

class PrintAccount : public ::testing::Environment {
    void TearDown() override {
        std::printf("%ld allocations and %ld system calls failed once each\n", failed(true),
                    failed(false));
    }
};

const ::testing::Environment* const kPrintAccount =
    ::testing::AddGlobalTestEnvironment(new PrintAccount);

} // namespace

bool Fault::is_made_up_for() const {
    return action == "short" ||
           (action == std::to_string(EINTR) && call != "send" && call != "recv");
}

const std::vector<Call> kCalls = {
    {"alloc", {ENOMEM}},
    {"socket", {EMFILE, ENFILE, ENOMEM, ENOBUFS, EACCES}},
    {"connect", {ECONNREFUSED, EAGAIN, EACCES}},
    {"getsockopt", {ENOBUFS, ENOMEM}},
    {"send", {EPIPE, ECONNRESET, ENOBUFS, ENOMEM, EINTR}, true},
    {"recv", {ECONNRESET, ENOMEM, EINTR}, true},
    {"open", {EMFILE, ENFILE, EACCES, EROFS, ENOSPC, ENOMEM, EINTR}},
    {"read", {EIO, EISDIR, EINTR}, true},
    {"pread", {EIO, EISDIR, EINTR}},
    {"write", {ENOSPC, EIO, EDQUOT, EFBIG, EINTR}, true},
    {"fsync", {EIO, ENOSPC, EDQUOT, EINVAL, EINTR}},
    {"rename", {EIO, ENOSPC, EACCES, EROFS, EXDEV}},
    {"unlink", {EIO, EACCES, EROFS}},
    {"mkdir", {ENOSPC, EACCES, EROFS, EMLINK}},
    {"fcntl", {ENOLCK, EMFILE, EINTR}},
    {"ioctl", {ENOTTY}},
    {"flock", {ENOLCK, EINTR}},
    {"close", {EIO, ENOSPC, EINTR}},
    {"epoll_create1", {EMFILE, ENFILE, ENOMEM}},
    {"epoll_ctl", {ENOMEM, ENOSPC, EPERM}},
    {"epoll_wait", {EBADF, EINTR}},
    {"eventfd", {EMFILE, ENFILE, ENOMEM}},
    {"pipe2", {EMFILE, ENFILE}},
    {"signalfd", {EMFILE, ENFILE, ENOMEM, ENODEV}},
    {"poll", {ENOMEM, EINTR}},
    {"shutdown", {ENOTCONN}},
    {"fstat", {EIO, ENOMEM, EOVERFLOW}},
    {"stat", {EIO, EACCES, ELOOP, ENOMEM}},
    {"lstat", {EIO, EACCES, ENOMEM}},
    {"fchmod", {EPERM, EIO, EROFS}},
    {"dup2", {EMFILE, EBUSY}},
    {"chdir", {EIO, EACCES}},
    {"fallocate", {ENOSPC, EOPNOTSUPP, EFBIG, EIO, EINTR}},
    {"execve", {ENOMEM, EACCES, E2BIG, ENOEXEC, ETXTBSY}},
    {"fork", {EAGAIN, ENOMEM}},
    {"waitpid", {ECHILD, EINTR}},
    {"setsid", {EPERM}},
    {"sigprocmask", {EINVAL}},
    {"timer_create", {EAGAIN, ENOMEM}},
    {"readlink", {EIO, EACCES, ELOOP}},
    {"realpath", {EIO, EACCES, ELOOP, ENOMEM}},
    {"pthread_create", {EAGAIN, EPERM}},
    {"pthread_mutex_init", {ENOMEM, EAGAIN}},
};

std::vector<Fault> list_faults(const FaultyRun& untouched, unsigned quick, std::size_t phase) {
    std::vector<Fault> faults;
    std::size_t number = phase;
    for (const Call& call : kCalls) {
        const auto made = untouched.calls.find(call.name);
        for (long at = 1; made != untouched.calls.end() && at <= made->second; ++at) {
            for (const std::string& action : actions_of(call)) {
                if (number++ % fault_step(quick) == 0) {
                    faults.push_back({call.name, at, action});
                }
            }
        }
    }
    EXPECT_FALSE(faults.empty());
    return faults;
}

std::map<std::string, std::string> fault_environment(const std::string& fault) {
    fs::remove(kReport);
    fs::remove(kJournal);
    return {{"LD_PRELOAD", QX_FAULTS},
            {"QX_FAULT", fault},
            {"QX_FAULT_FILL", kFill},
            {"QX_FAULT_REPORT", kReport},
            {"QX_FAULT_JOURNAL", kJournal}};
}

FaultyRun read_report(const Outcome& outcome) {
    FaultyRun run;
    run.outcome = outcome;
    std::istringstream words(fs::exists(kReport) ? read_file(kReport) : "");
    bool ended = false;
    for (std::string word, value; words >> word;) {
        if (word == "fired") {
            run.fired = true;
        } else if (word == "ended") {
            ended = true;
        } else if (words >> value; word == "call") {
            words >> run.calls[value];
        } else if (word == "live") {
            ++run.live[value];
        } else {
            run.open.push_back(value);
        }
    }
    EXPECT_EQ(ended, outcome.signal == 0);
    return run;
}

FaultyRun run_tool_with_fault(const std::vector<std::string>& words, const std::string& fault) {
    const auto environment = fault_environment(fault);
    return read_report(run_tool(words, environment));
}

void check_end(const Fault& fault, const FaultyRun& run, const FaultyRun& untouched) {
    failed(fault.call == "alloc") += run.fired ? 1 : 0;
    if (run.outcome.signal != 0) {
        EXPECT_EQ(run.outcome.signal, SIGABRT);
        EXPECT_EQ(fault.call, "alloc") << "only a lack of memory may end the tool like this";
    } else {
        EXPECT_THAT(run.outcome.status, ::testing::AnyOf(0, 1, 255));
    }
    EXPECT_THAT(run.outcome.err, ::testing::MatchesRegex(kTexts));
    EXPECT_EQ(run.open, std::vector<std::string>());
    for (const auto& [size, count] : run.live) {
        const auto before = untouched.live.find(size);
        EXPECT_LE(count, before == untouched.live.end() ? 0 : before->second) << "leaked " << size;
    }
}

} // namespace qx::test
