// Runs the tool's operations and the tests of the client library under valgrind. By default, runs a
// sample of them; with QX_FAULT_STEP=1, runs all.

#include "broker_client.h"
#include "fault.h"
#include "operations.h"

namespace {

using namespace qx::test;

const std::string kClientTests = fs::path(QX_TOOL).parent_path() / "client_tests";

// Leaves out tests that fork, and tests of time, memory, stacks and signal masks, which valgrind
// changes.
const char* const kClientFilter = "--gtest_filter=-Backlog.*:*WithoutDelay:*Stack*:*Fork*";

class Valgrind : public ::testing::Test {
protected:
    void SetUp() override {
        if (run({"sh", "-c", "command -v valgrind"}).status != 0) {
            GTEST_SKIP() << "valgrind is not installed";
        }
    }

    static std::vector<std::string> under_valgrind(std::vector<std::string> words) {
        constexpr const char* kCommand =
            "exec valgrind --quiet --error-exitcode=99 --leak-check=full "
            "--show-leak-kinds=definite,indirect,possible "
            "--errors-for-leak-kinds=definite,indirect,possible \"$@\"";
        words.insert(words.begin(), {"sh", "-c", kCommand, "sh"});
        return words;
    }
};

TEST_F(Valgrind, FindsNoErrorOrLeakInTheTool) {
    const Simulator simulator(
        R"({"events": [{"event": "va_status_changed", "when": "subscribe", "data": {}}],
            "commands": {"va_start": [{"status": 0}], "va_stop": [{"status": 0}],
            "va_self_scan_start": [{"status": 0}], "start_cloud_registration": [{"status": 0}]}})");
    std::size_t number = 0;
    for (const OperationCall& operation : operation_calls()) {
        if (number++ % fault_step(11) == 0) {
            SCOPED_TRACE(operation.title());
            std::vector<std::string> words = operation.words();
            words.insert(words.begin(), QX_TOOL);
            output_of(under_valgrind(words));
        }
    }
    Process listen(under_valgrind({QX_TOOL, "listen"}));
    listen.wait_for_output("VA_STATUS_CHANGED");
    const Outcome outcome = listen.stop();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(Valgrind, FindsNoErrorOrLeakInTheClientLibrary) {
    if (!fs::exists(kClientTests)) {
        GTEST_SKIP() << "the client library's tests are not built";
    }
    std::size_t number = 0;
    std::string suite;
    for (const std::string& line :
         lines_of(output_of({kClientTests, "--gtest_list_tests", kClientFilter}))) {
        if (!line.starts_with("  ")) {
            suite = line;
        } else if (number++ % fault_step(40) == 0) {
            const std::string name = suite + line.substr(2);
            std::vector<std::string> words =
                under_valgrind({kClientTests, "--gtest_filter=" + name});
            words.insert(words.begin(), {"unshare", "-Urmn"});
            Process test(words, {{"QX_TEST_WORLD", "1"}});
            test.reads_output("tests ran", 1, 10 * kPatience);
            const Outcome outcome = test.finish();
            EXPECT_EQ(outcome.status, 0) << name << ::testing::PrintToString(outcome);
        }
    }
    EXPECT_GT(number, 0U);
}

} // namespace
