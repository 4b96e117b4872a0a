// One pass of the operations under valgrind: all of them with QX_FAULT_STEP=1, else a few.

#include "broker_client.h"
#include "fault.h"
#include "operations.h"
#include "world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace {

using namespace qx::test;

constexpr int kFound = 99; ///< the status when valgrind has something to say

std::vector<std::string> under_valgrind(const std::vector<std::string>& words) {
    std::vector<std::string> all = {"valgrind",
                                    "--quiet",
                                    "--error-exitcode=" + std::to_string(kFound),
                                    "--leak-check=full",
                                    "--show-leak-kinds=definite,indirect,possible",
                                    "--errors-for-leak-kinds=definite,indirect,possible",
                                    QX_TOOL};
    all.insert(all.end(), words.begin(), words.end());
    return all;
}

TEST(Valgrind, FindsNothing) {
    if (run({"sh", "-c", "command -v valgrind"}).status != 0) {
        GTEST_SKIP() << "valgrind is not installed";
    }
    const Simulator simulator(
        R"({"events": [{"event": "va_status_changed", "when": "subscribe", "data": {}}]})");
    long number = 0;
    for (const OperationCall& operation : kOperationCalls) {
        if (number++ % fault_step(8) == 0) {
            const Outcome outcome = run(under_valgrind(operation.words()));
            EXPECT_TRUE(outcome.signal == 0 && outcome.status != kFound)
                << operation.name << outcome.err;
        }
    }
    Process listen(under_valgrind({"listen"}));
    listen.wait_for_output("VA_STATUS_CHANGED");
    listen.signal(SIGTERM);
    const Outcome outcome = listen.finish();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

} // namespace
