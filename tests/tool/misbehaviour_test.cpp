// Runs the tool against a broker that misbehaves at random. The tool must not crash, must end with
// a documented status, and must print only JSON.

#include "broker_client.h"
#include "operations.h"

#include <jansson.h>
#include <random>

namespace {

using namespace qx::test;
using ::testing::AnyOf;

void expect_results_only(const std::string& out) {
    for (const std::string& line : lines_of(out)) {
        json_t* const value = ::json_loads(line.c_str(), 0, nullptr);
        EXPECT_NE(value, nullptr) << line;
        ::json_decref(value);
    }
}

class Schedule {
public:
    explicit Schedule(unsigned seed)
        : random_(seed) {}

    std::string scenario() {
        return R"({"commands": {"*": )" + rules() + R"(}, "connections": )" + connections() +
               R"(, "subscriptions": {"va_status_changed": )" + rules() +
               R"(}, "events": [{"event": "va_status_changed", "times": 0, "every_ms": 3, "data": {"n": "%n"})" +
               bend() + "}]}";
    }

    const OperationCall& operation() { return calls_[random_() % calls_.size()]; }

private:
    std::string number(long least, long most) {
        return std::to_string(std::uniform_int_distribution<long>(least, most)(random_));
    }

    template <std::size_t Count>
    std::string one_of(const char* const (&texts)[Count]) {
        return texts[random_() % Count];
    }

    // Returns random members of a rule that truncate, split or delay a message, or falsify its
    // length prefix.
    std::string bend() {
        const std::tuple<unsigned, const char*, long, long> ways[] = {
            {3, R"(, "send": )", 0, 30},
            {4, R"(, "length": )", -3, 40},
            {4, R"(, "pause_ms": 0, "chunk": )", 1, 5},
            {4, R"(, "delay_ms": )", 0, 5},
        };
        std::string text;
        for (const auto& [seldom, member, least, most] : ways) {
            text += random_() % seldom == 0 ? member + number(least, most) : "";
        }
        return text;
    }

    std::string rule() {
        const char* const contents[] = {"",
                                        "",
                                        R"(, "status": 1)",
                                        R"(, "status": 0)",
                                        R"(, "data": {"status": 1})",
                                        R"(, "body": "no JSON")",
                                        R"(, "body": "{\"status\"")",
                                        R"(, "data_size": 9999)"};
        const char* const ends[] = {"keep", "close", "close", "restart"};
        return R"({"times": )" + number(1, 2) + one_of(contents) + bend() + R"(, "then": ")" +
               one_of(ends) + R"(", "down_ms": )" + number(0, 3) + "}";
    }

    std::string rules() {
        std::string text = rule();
        for (int i = 0; i < 6; ++i) {
            text += ", " + rule();
        }
        return "[" + text + "]";
    }

    std::string connections() {
        const char* const steps[] = {"{}", "{}", "{}", R"({"accept": "close"})",
                                     R"({"accept": "silent"})"};
        std::string text = "{}, {}";
        for (int i = 0; i < 3; ++i) {
            text += ", " + one_of(steps);
        }
        return "[" + text + "]";
    }

    std::mt19937 random_;
    std::vector<OperationCall> calls_ = operation_calls();
};

// Runs the tool until it ends, or for 40 ms and then stops it.
Outcome run_for_a_while(const std::vector<std::string>& words) {
    Process tool(words);
    tool.close_input();
    tool.reads_output("this never comes", 1, std::chrono::milliseconds(40));
    return tool.stop();
}

// QX_SCHEDULE_SEED is the first seed and QX_SCHEDULES the number of seeds to try.
TEST(Misbehaviour, OfTheBrokerNeverCrashesTheTool) {
    const unsigned first = from_environment("QX_SCHEDULE_SEED", std::random_device()());
    const unsigned count = from_environment("QX_SCHEDULES", kSanitized ? 12 : 40);
    for (unsigned seed = first; seed - first < count && !HasFailure(); ++seed) {
        SCOPED_TRACE("QX_SCHEDULE_SEED=" + std::to_string(seed));
        Schedule schedule(seed);
        const std::string scenario = schedule.scenario();
        SCOPED_TRACE(scenario);
        Simulator simulator(scenario);
        std::vector<std::vector<std::string>> tried = {
            {QX_TOOL, "listen", "--events=QX_PLIX_VA_STATUS_CHANGED"}};
        for (int i = 0; i < 3; ++i) {
            std::vector<std::string> words = schedule.operation().words();
            words.insert(words.begin(), QX_TOOL);
            tried.insert(tried.begin(), words);
        }
        for (const std::vector<std::string>& words : tried) {
            const Outcome outcome = run_for_a_while(words);
            EXPECT_THAT(outcome.signal, AnyOf(0, SIGTERM));
            EXPECT_THAT(outcome.status, AnyOf(-1, 0, 1, 255));
            if (words[1] != "help") {
                expect_results_only(outcome.out);
            }
        }
        EXPECT_EQ(simulator.stop().status, 0);
    }
}

} // namespace
