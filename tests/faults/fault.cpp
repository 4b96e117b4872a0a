#include "fault.h"

#include "operations.h"

#include <cerrno>
#include <cstdio>
#include <fmt/format.h>
#include <fstream>
#include <memory>
#include <regex>

namespace qx::test {
namespace {

using namespace ::testing;

const fs::path kRun = "/opt/run";

// The documented texts on standard error.
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

/// The errors that a function can return.
struct Failures {
    qx_call call;
    const char* name;
    std::vector<int> errors;
};

const Failures kFailures[] = {
    {QX_CALL_any, "any", {}},
    {QX_CALL_alloc, "alloc", {ENOMEM}},
#define CALL(name, ...) {QX_CALL_##name, #name, {__VA_ARGS__}},
#include "preload/calls.def"
};

bool can_be_short(qx_call call) {
    return call == QX_CALL_send || call == QX_CALL_recv || call == QX_CALL_read ||
           call == QX_CALL_write;
}

/// Counts the failed calls and prints the counts when the program ends.
struct Account {
    long allocations = 0;
    long system_calls = 0;

    ~Account() {
        std::printf("%ld allocations and %ld system calls failed once each\n", allocations,
                    system_calls);
    }
};

void count(const Fault& fault) {
    static Account account;
    ++(fault.call == QX_CALL_alloc ? account.allocations : account.system_calls);
}

FaultyRun read_run(const Outcome& outcome) {
    const auto run = std::make_unique<qx_run>();
    std::ifstream(kRun).read(reinterpret_cast<char*>(run.get()), sizeof *run);
    EXPECT_EQ(run->ended != 0, outcome.signal == 0);
    FaultyRun result{.outcome = outcome, .fired = run->fired != 0, .left_open = run->left_open};
    std::copy(std::begin(run->calls), std::end(run->calls), result.calls.begin());
    for (const auto& [block, size] : run->live) {
        if (block != nullptr) {
            result.live.insert(size);
        }
    }
    return result;
}

} // namespace

std::string name_of(qx_call call) {
    return kFailures[call].name;
}

std::string text_of(const Fault& fault) {
    static const char* const actions[] = {"nothing", "fail", "short",   "tear",
                                          "signal",  "full", "no files"};
    return fmt::format("{} {}: {} {}", name_of(fault.call), fault.at, actions[fault.action],
                       fault.detail);
}

bool is_made_up_for(const Fault& fault) {
    return fault.action == QX_SHORT || (fault.action == QX_FAIL && fault.detail == EINTR &&
                                        fault.call != QX_CALL_send && fault.call != QX_CALL_recv);
}

FaultyRun run_with_fault(const Fault& fault,
                         const std::function<Outcome(const Variables&)>& start_and_wait) {
    fs::remove(kRun);
    write_file(kRun, {reinterpret_cast<const char*>(&fault), sizeof fault});
    fs::resize_file(kRun, sizeof(qx_run));
    return read_run(
        start_and_wait({{"LD_PRELOAD", QX_FAULTS}, {"QX_RUN", kRun}, {"QX_FILL", kFill}}));
}

FaultyRun run_with_fault(const Fault& fault, const std::vector<std::string>& words) {
    return run_with_fault(
        fault, [&](const Variables& environment) { return run_tool(words, environment); });
}

std::vector<Fault> list_faults(const FaultyRun& untouched, unsigned quick, std::size_t phase) {
    std::vector<Fault> faults;
    std::size_t number = phase;
    const auto add = [&](const Fault& fault) {
        if (number++ % fault_step(quick) == 0) {
            faults.push_back(fault);
        }
    };
    for (const Failures& failures : kFailures) {
        for (long at = 1; at <= untouched.calls[failures.call]; ++at) {
            for (const int error : failures.errors) {
                add({failures.call, at, QX_FAIL, error});
            }
            if (can_be_short(failures.call)) {
                add({failures.call, at, QX_SHORT, 0});
            }
        }
    }
    EXPECT_FALSE(faults.empty());
    return faults;
}

void check_end(const Fault& fault, const FaultyRun& run, const FaultyRun& untouched) {
    if (run.fired) {
        count(fault);
    }
    if (run.outcome.signal != 0) {
        EXPECT_EQ(run.outcome.signal, SIGABRT);
        EXPECT_EQ(fault.call, QX_CALL_alloc) << "only a failed allocation may abort the tool";
    } else {
        EXPECT_THAT(run.outcome.status, AnyOf(0, 1, 255));
    }
    EXPECT_THAT(run.outcome.err, MatchesRegex(kTexts));
    EXPECT_EQ(run.left_open, 0);
    EXPECT_THAT(run.live, IsSubsetOf(untouched.live)) << "memory leak";
}

std::vector<Change> changes_of_tool(const std::vector<std::string>& words) {
    std::vector<std::string> command = {
        "sh", "-c", "exec strace -qq -y -s 4096 -o /opt/trace \"$@\"", "sh", QX_TOOL};
    command.insert(command.end(), words.begin(), words.end());
    output_of(command);
    // strace prints a descriptor as NUMBER<PATH>, and a relative path after AT_FDCWD<DIRECTORY>.
    const std::regex success(
        R"re((mkdir|rename|unlink|write|fsync|close|open(?=.*O_CREAT))\w*\((?:AT_FDCWD<.*?>, )?)re"
        R"re((?:\d+<|")(.*?)[">](?:, "(.*)")?.* = \d.*)re");
    std::vector<Change> changes;
    for (const std::string& line : lines_of(read_file("/opt/trace"))) {
        if (std::smatch parts; std::regex_match(line, parts, success)) {
            const std::string detail =
                std::regex_replace(parts[3].str(), std::regex(R"(\\n)"), "\n");
            changes.push_back(
                {parts[1], parts[2], std::regex_replace(detail, std::regex(R"(\\(.))"), "$1")});
        }
    }
    return changes;
}

} // namespace qx::test
