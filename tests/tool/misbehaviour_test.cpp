// A broker that misbehaves, against every operation that can meet it. Nothing of it may crash the
// tool or leave it waiting where the broker has gone, and only the user ends the waiting for one
// that stays silent.

#include "broker_client.h"
#include "operations.h"

#include <chrono>
#include <functional>
#include <jansson.h>
#include <random>

namespace {

using namespace qx::test;
using ::testing::AnyOf;
using Clock = std::chrono::steady_clock;

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

/// The rule with more members behind its own.
std::string with(const std::string& rule, const std::string& members) {
    return rule.substr(0, rule.size() - 1) + ", " + members + "}";
}

std::string for_ever(const Way& way) {
    return "[" + with(way.rule, R"("times": 0)") + "]";
}

/// The numbers below `count` that are tried together with `number` of something else.
std::vector<std::size_t> tried_with(std::size_t number, std::size_t count) {
    const unsigned step = fault_step(kSanitized || kEmulated ? 24 : 3);
    std::vector<std::size_t> tried;
    for (std::size_t other = 0; other < count; ++other) {
        if ((number + other) % step == 0) {
            tried.push_back(other);
        }
    }
    return tried;
}

/// Tries the operations that ask the broker, as far as they go together with `number`.
void try_operations(std::size_t number, const std::function<void(const OperationCall&)>& attempt) {
    const std::vector<OperationCall> calls = operation_calls();
    for (const std::size_t tried : tried_with(number, calls.size())) {
        if (calls[tried].asks_broker) {
            SCOPED_TRACE(calls[tried].title());
            attempt(calls[tried]);
        }
    }
}

std::vector<std::string> tool_words(std::vector<std::string> words) {
    words.insert(words.begin(), QX_TOOL);
    return words;
}

void expect_results_only(const std::string& out) {
    for (const std::string& line : lines_of(out)) {
        json_t* const value = ::json_loads(line.c_str(), 0, nullptr);
        EXPECT_NE(value, nullptr) << line;
        ::json_decref(value);
    }
}

TEST(Misbehaviour, EndsEveryOperationWithAStatus) {
    std::vector<std::pair<std::string, Ends>> scenarios = {
        {R"({"connections": [{"accept": "close", "times": 0}]})", Ends::somehow},
        {R"({"connections": [{}, {"accept": "close"}, {}, {"accept": "close"}]})", Ends::somehow},
        {R"({"version": "1.2"})", Ends::badly},
        {R"({"version": ""})", Ends::badly},
        {R"({"lock": false})", Ends::badly},
    };
    for (const Way& way : kWays) {
        scenarios.emplace_back(R"({"commands": {"*": )" + for_ever(way) + "}}", way.ends);
    }
    std::size_t number = 0;
    for (const auto& [scenario, ends] : scenarios) {
        SCOPED_TRACE(scenario);
        const Simulator simulator(scenario);
        try_operations(number++, [&, badly = ends == Ends::badly](const OperationCall& operation) {
            const Outcome outcome = run_tool(operation.words());
            EXPECT_THAT(outcome.status, AnyOf(0, 1, 255));
            // Router information leaves out what the broker does not tell, and the list of devices
            // is also where its reasons appear.
            if (badly && operation.title() != "get_router_info") {
                EXPECT_NE(outcome.status, 0);
                EXPECT_TRUE(outcome.out.empty() || operation.title() == "get_devices");
            }
            expect_results_only(outcome.out);
        });
    }
}

void expect_a_good_end(Process& listen) {
    const Outcome outcome = listen.stop();
    EXPECT_EQ(outcome, Outcome{.out = outcome.out});
    expect_results_only(outcome.out);
}

TEST(Misbehaviour, OnASubscriptionEndsListen) {
    for (const std::size_t number : tried_with(0, std::size(kWays))) {
        const Way& way = kWays[number];
        SCOPED_TRACE(way.rule);
        Simulator simulator(R"({"subscriptions": {"va_status_changed": )" + for_ever(way) + "}}",
                            {"--trace"});
        Process listen({QX_TOOL, "listen", "--events=QX_PLIX_VA_STATUS_CHANGED"});
        if (way.ends == Ends::somehow) {
            simulator.wait_for_output(" answer ");
            expect_a_good_end(listen);
            continue;
        }
        const char* const reason = "Failed to subscribe to event: QX_PLIX_VA_STATUS_CHANGED\n";
        EXPECT_EQ(listen.finish(), (Outcome{.status = 1, .err = reason}));
    }
}

// The other event comes before the bad ones and after them, on new connections if need be.
TEST(Misbehaviour, OfAnEventLetsListenGoOn) {
    for (const std::size_t number : tried_with(1, std::size(kWays))) {
        const std::string rule = kWays[number].rule;
        if (rule.starts_with(R"({"status")")) {
            continue; // means nothing in an event
        }
        SCOPED_TRACE(rule);
        const bool has_content = rule.starts_with(R"({"data)") || rule.starts_with(R"({"body)") ||
                                 rule.starts_with(R"({"raw)");
        const Simulator simulator(
            R"({"events": [{"event": "device_discovery", "data": {}, "times": 0, "every_ms": 3}, )" +
            with(rule, R"("event": "va_status_changed", "when": "subscribe", "after_ms": 20)" +
                           std::string(has_content ? "" : R"(, "data": {})")) +
            "]}");
        Process listen(
            {QX_TOOL, "listen", "--events=QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_DEVICE_DISCOVERY"});
        listen.wait_for_output("DEVICE_DISCOVERY", 20);
        expect_a_good_end(listen);
    }
}

// There is no time-out, by design: a person has Ctrl-C, a script has timeout(1).
TEST(Misbehaviour, SilenceLastsUntilTheUserEndsIt) {
    const char* const rules[] = {R"({"send": 0, "times": 0})", R"({"send": 2, "times": 0})",
                                 R"({"send": 9, "times": 0})",
                                 R"({"length": 60000000, "times": 0})"};
    const int signals[] = {SIGINT, SIGTERM, SIGHUP};
    std::size_t number = 0;
    for (const std::string rule : rules) {
        SCOPED_TRACE(rule);
        Simulator simulator(R"({"commands": {"*": [)" + rule + "]}}", {"--trace"});
        std::size_t asked = 0;
        try_operations(number++, [&](const OperationCall& operation) {
            Process tool(tool_words(operation.words()));
            simulator.wait_for_output("request", ++asked);
            const int signal = signals[asked % std::size(signals)];
            const fs::directory_iterator threads("/proc/" + std::to_string(tool.pid()) + "/task");
            EXPECT_TRUE(std::distance(begin(threads), end(threads)) <= 2 || kSanitized ||
                        kEmulated);
            const auto since = Clock::now();
            EXPECT_EQ(tool.stop(signal), (Outcome{.status = -1, .signal = signal}));
            EXPECT_LT(Clock::now() - since, std::chrono::seconds(2));
            simulator.wait_for_output(" closed", 2 * asked);
        });
    }
}

TEST(Misbehaviour, OfABrokerThatNeverReadsIsCutByTimeout) {
    const Simulator simulator(R"({"connections": [{"accept": "silent", "times": 0}]})");
    try_operations(0, [](const OperationCall& operation) {
        std::vector<std::string> words = tool_words(operation.words());
        words.insert(words.begin(), {"timeout", "0.1"});
        EXPECT_EQ(run(words), Outcome{.status = 124});
    });
}

// --- schedules by chance -------------------------------------------------------------------------

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

    // How something is sent.
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

// Ends by itself, or when it is told to.
Outcome run_for_a_while(const std::vector<std::string>& words) {
    Process tool(tool_words(words));
    tool.close_input();
    tool.reads_output("this never comes", 1, std::chrono::milliseconds(40));
    return tool.stop();
}

// QX_SCHEDULE_SEED names the first seed and QX_SCHEDULES how many are tried.
TEST(Misbehaviour, ByChance) {
    const unsigned first = from_environment("QX_SCHEDULE_SEED", std::random_device()());
    const unsigned count = from_environment("QX_SCHEDULES", kSanitized ? 12 : 40);
    for (unsigned seed = first; seed - first < count && !HasFailure(); ++seed) {
        SCOPED_TRACE("QX_SCHEDULE_SEED=" + std::to_string(seed));
        Schedule schedule(seed);
        const std::string scenario = schedule.scenario();
        SCOPED_TRACE(scenario);
        Simulator simulator(scenario);
        std::vector<std::vector<std::string>> tried = {
            {"listen", "--events=QX_PLIX_VA_STATUS_CHANGED"}};
        for (int i = 0; i < 3; ++i) {
            tried.insert(tried.begin(), schedule.operation().words());
        }
        for (const std::vector<std::string>& words : tried) {
            const Outcome outcome = run_for_a_while(words);
            EXPECT_THAT(outcome.signal, AnyOf(0, SIGTERM));
            EXPECT_THAT(outcome.status, AnyOf(-1, 0, 1, 255));
            if (words[0] != "help") {
                expect_results_only(outcome.out);
            }
        }
        EXPECT_EQ(simulator.stop().status, 0);
    }
}

} // namespace
