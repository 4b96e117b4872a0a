// A broker that misbehaves, against every operation that can meet it. Nothing of it may crash the
// tool or leave it waiting where the broker has gone, and only the user ends the waiting for one
// that stays silent.

#include "broker_client.h"
#include "operations.h"
#include "world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <jansson.h>
#include <random>
#include <sstream>

namespace fs = std::filesystem;

namespace {

using namespace qx::test;
using ::testing::AnyOf;

enum class Ends { badly, somehow };

struct Way {
    const char* rule = "";
    Ends ends = Ends::badly;
};

const Way kWays[] = {
    // gone before or within the answer
    {R"({"send": 0, "then": "close"})"},
    {R"({"send": 1, "then": "close"})"},
    {R"({"send": 3, "then": "close"})"},
    {R"({"send": 4, "then": "close"})"},
    {R"({"send": 9, "then": "close"})"},
    {R"({"send": 0, "then": "restart", "down_ms": 0})"},
    {R"({"send": 5, "then": "restart", "down_ms": 0})"},
    // lengths that lie
    {R"({"length": 0})"},
    {R"({"length": -1})"},
    {R"({"length": -2147483648})"},
    {R"({"length": 2147483647})"},
    {R"({"length": 67108865})"},
    {R"({"length": 5})"},
    {R"({"length": 67108864, "then": "close"})"},
    {R"({"raw": "garbage", "then": "close"})"},
    {R"({"raw_hex": "02000000 7b"   , "then": "close"})"},
    // no answer, or not such a one
    {R"({"body": ""})"},
    {R"({"body": "no JSON"})"},
    {R"({"body": "42"})"},
    {R"({"body": "[]"})"},
    {R"({"body": "{}"})"},
    {R"({"body": "{\"status\": 0"})"},
    {R"({"body": "{\"status\": 0}{\"status\": 0}"})"},
    {R"({"raw_hex": "0e000000 7b22737461747573223a22ff227d"})"},
    {R"({"raw_hex": "0e000000 7b2273746174757300223a307d7d"})"},
    // failures told strangely
    {R"({"status": -1, "data": "text"})"},
    {R"({"status": 1, "data": {"code": "text", "description": 7}})"},
    {R"({"status": 1, "data": {"code": 9223372036854775807, "description": ""}})"},
    {R"({"status": 1, "data": []})"},
    // answers of other types, sizes and speeds
    {R"({"status": "text", "data": {}})", Ends::somehow},
    {R"({"status": null})", Ends::somehow},
    {R"({"status": 4294967296})", Ends::somehow},
    {R"({"data": "text"})", Ends::somehow},
    {R"({"data": [[[[1]]], {"status": "x"}]})", Ends::somehow},
    {R"({"data": {"status": {"status": 1}}})", Ends::somehow},
    {R"({"data_size": 1000000})", Ends::somehow},
    {R"({"chunk": 1, "pause_ms": 0})", Ends::somehow},
    {R"({"delay_ms": 3})", Ends::somehow},
};

std::string for_all(const std::string& rule) {
    std::string repeated = rule;
    repeated.insert(repeated.size() - 1, R"(, "times": 0)");
    return R"({"commands": {"*": [)" + repeated + "]}}";
}

std::vector<std::string> tool_words(std::vector<std::string> words) {
    words.insert(words.begin(), QX_TOOL);
    return words;
}

bool is_json(const std::string& line) {
    json_t* const value = ::json_loads(line.c_str(), 0, nullptr);
    ::json_decref(value);
    return value != nullptr;
}

void expect_results_only(const std::string& out) {
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_TRUE(is_json(line)) << line;
    }
}

// Router information leaves out what the broker does not tell.
bool tolerates(const OperationCall& operation) {
    return operation.name == std::string("get_router_info");
}

// The list of devices is also where the broker's reasons appear.
bool tells_details(const OperationCall& operation) {
    return operation.name == std::string("get_devices");
}

TEST(Misbehaviour, EndsEveryOperationWithAStatus) {
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.rule);
        const Simulator simulator(for_all(way.rule));
        for (const OperationCall& operation : kOperationCalls) {
            if (!operation.asks_broker) {
                continue;
            }
            SCOPED_TRACE(operation.name);
            const Outcome outcome = run_tool(operation.words());
            EXPECT_THAT(outcome.status, AnyOf(0, 1, 255));
            if (way.ends == Ends::badly && !tolerates(operation)) {
                EXPECT_NE(outcome.status, 0);
                EXPECT_TRUE(outcome.out.empty() || tells_details(operation)) << outcome.out;
            }
            expect_results_only(outcome.out);
        }
    }
}

TEST(Misbehaviour, BeforeTheRequestEndsEveryOperation) {
    const char* const scenarios[] = {
        R"({"connections": [{"accept": "close", "times": 0}]})",
        R"({"connections": [{}, {"accept": "close"}, {}, {"accept": "close"}]})",
        R"({"version": "1.2"})",
        R"({"version": ""})",
        R"({"lock": false})",
    };
    for (const char* const scenario : scenarios) {
        SCOPED_TRACE(scenario);
        const Simulator simulator(scenario);
        for (const OperationCall& operation : kOperationCalls) {
            const Outcome outcome = run_tool(operation.words());
            EXPECT_THAT(outcome.status, AnyOf(0, 1, 255)) << operation.name;
        }
    }
}

// There is no time-out, by design: a person has Ctrl-C, a script has timeout(1).
TEST(Misbehaviour, SilenceLastsUntilTheUserEndsIt) {
    const std::pair<const char*, const char*> scenarios[] = {
        {R"({"commands": {"*": [{"send": 0, "times": 0}]}})", "request"},
        {R"({"commands": {"*": [{"send": 2, "times": 0}]}})", "request"},
        {R"({"commands": {"*": [{"send": 9, "times": 0}]}})", "request"},
        {R"({"commands": {"*": [{"length": 60000000, "times": 0}]}})", "request"},
    };
    const int signals[] = {SIGINT, SIGTERM, SIGHUP};
    for (const auto& [scenario, sign] : scenarios) {
        SCOPED_TRACE(scenario);
        Simulator simulator(scenario, {"--trace"});
        std::size_t asked = 0;
        for (const OperationCall& operation : kOperationCalls) {
            if (!operation.asks_broker) {
                continue;
            }
            SCOPED_TRACE(operation.name);
            Process tool(tool_words(operation.words()));
            simulator.wait_for_output(sign, ++asked);
            const int signal = signals[asked % std::size(signals)];
            tool.signal(signal);
            const Outcome outcome = tool.finish();
            EXPECT_EQ(outcome.signal, signal);
            EXPECT_EQ(outcome.out + outcome.err, "");
            simulator.wait_for_output(" closed", 2 * asked);
        }
    }
}

TEST(Misbehaviour, OfABrokerThatNeverReadsIsCutByTimeout) {
    const Simulator simulator(R"({"connections": [{}, {"accept": "silent", "times": 0}]})");
    const Outcome outcome = run({"timeout", "0.1", QX_TOOL, "get_devices"});
    EXPECT_EQ(outcome.status, 124);
    EXPECT_EQ(outcome.out + outcome.err, "");
}

// --- schedules by chance
// ------------------------------------------------------------------------------------------

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

    const OperationCall& operation() {
        return kOperationCalls[random_() % std::size(kOperationCalls)];
    }

private:
    std::string number(long least, long most) {
        return std::to_string(std::uniform_int_distribution<long>(least, most)(random_));
    }

    template <std::size_t Count>
    std::string one_of(const char* const (&texts)[Count]) {
        return texts[random_() % Count];
    }

    // How something is sent.
    std::string bend() {
        std::string text;
        if (random_() % 3 == 0) {
            text += R"(, "send": )" + number(0, 30);
        }
        if (random_() % 4 == 0) {
            text += R"(, "length": )" + number(-3, 40);
        }
        if (random_() % 4 == 0) {
            text += R"(, "chunk": )" + number(1, 5) + R"(, "pause_ms": 0)";
        }
        if (random_() % 4 == 0) {
            text += R"(, "delay_ms": )" + number(0, 5);
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
};

// Ends by itself, or when it is told to.
Outcome run_for_a_while(const std::vector<std::string>& words) {
    Process tool(tool_words(words));
    tool.close_input();
    tool.reads_output("this never comes", 1, std::chrono::milliseconds(40));
    tool.signal(SIGTERM);
    return tool.finish();
}

unsigned from_environment(const char* name, unsigned otherwise) {
    const char* const value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(value, nullptr, 10));
}

// QX_SCHEDULE_SEED names the first seed and QX_SCHEDULES how many are tried.
TEST(Misbehaviour, ByChance) {
    const unsigned first = from_environment("QX_SCHEDULE_SEED", std::random_device()());
    const unsigned count = from_environment("QX_SCHEDULES", 120);
    for (unsigned seed = first; seed - first < count && !HasFailure(); ++seed) {
        SCOPED_TRACE("QX_SCHEDULE_SEED=" + std::to_string(seed));
        Schedule schedule(seed);
        const std::string scenario = schedule.scenario();
        SCOPED_TRACE(scenario);
        Simulator simulator(scenario);
        for (int i = 0; i < 3; ++i) {
            const OperationCall& operation = schedule.operation();
            const Outcome outcome = run_for_a_while(operation.words());
            EXPECT_THAT(outcome.signal, AnyOf(0, SIGTERM));
            EXPECT_TRUE(outcome.signal != 0 || outcome.status == 0 || outcome.status == 1 ||
                        outcome.status == 255)
                << outcome.status;
            if (operation.name != std::string("help")) {
                expect_results_only(outcome.out);
            }
        }
        const Outcome outcome = run_for_a_while({"listen", "--events=QX_PLIX_VA_STATUS_CHANGED"});
        EXPECT_THAT(outcome.signal,
                    AnyOf(0, SIGTERM)); // before its first line it has not said anything of signals
        EXPECT_THAT(outcome.status, AnyOf(-1, 0, 1));
        expect_results_only(outcome.out);
        simulator.signal(SIGTERM);
        EXPECT_EQ(simulator.finish().status, 0);
    }
}

} // namespace
