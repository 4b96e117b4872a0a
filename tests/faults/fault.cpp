#include "fault.h"

#include "world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace fs = std::filesystem;

namespace qx::test {
namespace {

const fs::path kReport = "/opt/report";

struct Account {
    long allocations = 0;
    long calls = 0;
};

Account& account() {
    static Account the_account;
    return the_account;
}

class PrintAccount : public ::testing::Environment {
    void TearDown() override {
        std::printf("%ld allocations and %ld system calls failed once each\n",
                    account().allocations, account().calls);
    }
};

const ::testing::Environment* const kPrintAccount =
    ::testing::AddGlobalTestEnvironment(new PrintAccount);

} // namespace

std::map<std::string, std::string> fault_environment(const std::string& fault) {
    fs::remove(kReport);
    fs::remove(kJournal);
    return {{"LD_PRELOAD", QX_FAULTS},
            {"QX_FAULT", fault},
            {"QX_FAULT_REPORT", kReport},
            {"QX_FAULT_JOURNAL", kJournal}};
}

FaultyRun read_report(const Outcome& outcome) {
    FaultyRun run;
    run.outcome = outcome;
    run.ended = outcome.signal == 0;
    if (!fs::exists(kReport)) {
        return run;
    }
    std::istringstream words(read_file(kReport));
    for (std::string word; words >> word;) {
        std::string value;
        if (word == "fired") {
            run.fired = true;
        } else if (word == "live") {
            words >> value;
            ++run.live[value];
        } else {
            words >> value;
            run.open.push_back(value);
        }
    }
    return run;
}

FaultyRun run_tool_with_fault(const std::vector<std::string>& words, const std::string& fault) {
    const auto environment = fault_environment(fault);
    return read_report(run_tool(words, environment));
}

void count_faults(long allocations, long calls) {
    account().allocations += allocations;
    account().calls += calls;
}

long fault_step(long quick) {
    const char* const step = std::getenv("QX_FAULT_STEP");
    return step == nullptr ? quick : std::strtol(step, nullptr, 10);
}

} // namespace qx::test
