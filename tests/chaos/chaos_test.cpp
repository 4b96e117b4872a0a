// A listener, callers and writers of settings at once against a broker that is killed, restarted
// and answers late, half or wrongly. QX_CHAOS_SECONDS (5) says for how long, QX_CHAOS_SEED with
// which choices; at the end stands an account.

#include "broker_client.h"
#include "settings_writer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <list>
#include <map>
#include <random>

namespace {

using namespace qx::test;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr int kBurst = 20;
constexpr int kCallers = 2;
constexpr int kWriters = 2;
constexpr Milliseconds kBackWithin{1500};
const fs::path kPrinted = "/opt/printed";

// What goes wrong with answers; each rule is used a few times, in this order of chance.
std::string bad_answers(std::mt19937& random) {
    const char* const ways[] = {
        R"({"delay_ms": 20})",
        R"({"send": 6, "then": "close"})",
        R"({"send": 2, "then": "close"})",
        R"({"send": 0, "then": "close"})",
        R"({"length": -1, "then": "close"})",
        R"({"length": 2147483647, "then": "close"})",
        R"({"body": "no JSON"})",
        R"({"status": 1, "data": {"code": 3, "description": "broken"}})",
        R"({"data": [1, "wrong", null]})",
        R"({"chunk": 1, "pause_ms": 0})",
        R"({"data_size": 300000})",
        R"({"send": 9, "delay_ms": 10, "then": "close"})",
        "{}",
        "{}",
        "{}",
    };
    std::string rules = "[{}";
    for (int i = 0; i < 60; ++i) {
        rules.append(", ").append(ways[random() % std::size(ways)]);
    }
    return rules + "]";
}

struct Scenario {
    std::string text;
    std::size_t refused = 0; ///< subscription requests that will have to be sent again
};

// A listener that starts is refused for good; one that was there before comes again.
Scenario make_scenario(std::mt19937& random, bool refuses) {
    const char* const refusals[] = {R"({"status": 1})", R"({"send": 2, "then": "close"})",
                                    R"({"body": "no JSON"})", R"({"send": 0, "then": "close"})"};
    Scenario scenario;
    std::string subscriptions;
    if (refuses && random() % 4 == 0) {
        subscriptions = R"(, "subscriptions": {")" + kEvents[random() % kEvents.size()] +
                        R"(": [)" + refusals[random() % std::size(refusals)] + "]}";
        scenario.refused = 1;
    }
    scenario.text = R"({"commands": {"*": )" + bad_answers(random) + "}" + subscriptions + "}";
    return scenario;
}

/// Calls the tool over and over: how many of the calls ended with which status.
std::map<int, long> call_until(const std::atomic<bool>& stop, unsigned seed) {
    const std::vector<std::string> operations[] = {
        {"is_enabled"},
        {"va_status"},
        {"get_router_info"},
        {"get_devices"},
        {"feature", "--list"},
        {"set_device_info", "--device_id=1", "--name=x"},
        {"set_quillet_location", "staging"},
        {"set_quillet_location", "production"},
        {"get_status_report"},
        {"va_get_exclusions"},
    };
    std::map<int, long> statuses;
    std::mt19937 random(seed);
    while (!stop) {
        const Outcome outcome = run_tool(operations[random() % std::size(operations)]);
        ++statuses[outcome.signal != 0 ? -outcome.signal : outcome.status];
    }
    return statuses;
}

/// What a process takes of the machine.
struct Footprint {
    long kilobytes = 0;
    std::size_t descriptors = 0;
};

Footprint measure(const Process& process) {
    const std::string pid = std::to_string(process.pid());
    return {resident_kib(pid), open_descriptors(pid).size()};
}

/// The lines of the broker's trace that say that an event was sent to a subscriber, as listen
/// prints the event.
std::vector<std::string> sent_events(const std::string& trace) {
    std::vector<std::string> events;
    for (const std::string& line : lines_of(trace)) {
        const std::string before = "event ";
        const std::string between = " to 1: ";
        const std::size_t at = line.find(between);
        if (line.starts_with(before) && at != std::string::npos) {
            events.push_back(printed(line.substr(before.size(), at - before.size()),
                                     line.substr(at + between.size())));
        }
    }
    return events;
}

/// A listener and the brokers that come and go under it.
class Stage {
public:
    explicit Stage(unsigned seed)
        : random_(seed) {}

    void run_for(std::chrono::seconds time) {
        const auto end = Clock::now() + time;
        while (Clock::now() < end && !::testing::Test::HasFailure()) {
            one_life();
            // In its first life the listener was still starting.
            at_start = deaths == 2 ? at_end : at_start;
        }
    }

    /// Stops the listener, which must have printed everything.
    void finish() {
        EXPECT_EQ(listener_->stop(), Outcome());
        std::map<std::string, int> times;
        for (const std::string& line : lines_of(read_file(kPrinted))) {
            ++times[line + "\n"];
            ++printed;
        }
        for (const std::string& event : sent_) {
            const int count = times[event];
            lost += count == 0 ? 1 : 0;
            doubled += count > 1 ? 1 : 0;
            EXPECT_EQ(count, 1) << event;
        }
        sent = static_cast<long>(sent_.size());
        EXPECT_EQ(printed, sent);
    }

    long sent = 0;
    long printed = 0;
    long lost = 0;
    long doubled = 0;
    long restarts = 0;
    long deaths = 0;
    long drops = 0;
    Milliseconds slowest_return{0};
    Footprint at_start;
    Footprint at_end;

private:
    /// A broker starts, is restarted some times and dies in one of several ways.
    void one_life() {
        const Scenario scenario = make_scenario(random_, listener_ != nullptr);
        Simulator simulator(scenario.text, {"--trace"});
        if (listener_ == nullptr) {
            listener_ = std::make_unique<Process>(std::vector<std::string>{
                "sh", "-c", "exec \"$0\" listen >" + kPrinted.string(), QX_TOOL});
        }
        std::size_t requests = kEvents.size() + scenario.refused;
        wait_until_back(simulator, requests);
        at_end = measure(*listener_);
        std::size_t back = 0;
        for (int restart = 0; restart < 6 && !::testing::Test::HasFailure(); ++restart) {
            send_events(simulator);
            if (random_() % 8 == 0) {
                simulator.write("drop\n");
                ++drops;
            } else {
                simulator.write("restart " + std::to_string(random_() % 40) + "\n");
                simulator.wait_for_output("listening again", ++back);
                ++restarts;
            }
            requests += kEvents.size();
            wait_until_back(simulator, requests);
        }
        send_events(simulator);
        const Outcome death = simulator.stop(random_() % 2 == 0 ? SIGKILL : SIGTERM);
        const std::vector<std::string> events = sent_events(death.out);
        sent_.insert(sent_.end(), events.begin(), events.end());
        ++deaths;
    }

    void wait_until_back(Simulator& simulator, std::size_t requests) {
        const auto start = Clock::now();
        simulator.wait_for_output(R"("type": "subscribe")", requests);
        const auto took = since(start);
        slowest_return = std::max(slowest_return, took);
        EXPECT_LE(took, kBackWithin);
    }

    void send_events(Simulator& simulator) {
        const std::string round = std::to_string(++rounds_);
        for (const std::string& name : kEvents) {
            simulator.write("burst " + std::to_string(kBurst) + " " + name + R"( {"n": ")" + round +
                            "-%n\"}\n");
        }
        simulator.wait_for_output(R"({"n": ")" + round + "-" + std::to_string(kBurst) + "\"}",
                                  kEvents.size());
        wait_until_sent(simulator);
    }

    // The trace tells of an event before it is sent, and everything is sent in the order in which
    // it came up. The broker waits for nobody but for who reads its trace.
    static void wait_until_sent(Simulator& simulator) {
        const BrokerClient client;
        client.send(command("get_version_info"));
        while (!client.has_input()) {
            simulator.reads_output("this never comes", 1, Milliseconds(2));
        }
    }

    std::mt19937 random_;
    std::unique_ptr<Process> listener_;
    std::vector<std::string> sent_;
    long rounds_ = 0;
};

void print_account(const Stage& stage, const std::map<int, long>& statuses, int written) {
    long calls = 0;
    for (const auto& [status, count] : statuses) {
        calls += count;
    }
    std::printf("broker: %ld restarts, %ld deaths, %ld times all connections dropped; slowest "
                "return of all subscriptions %ld ms\n",
                stage.restarts, stage.deaths, stage.drops, long{stage.slowest_return.count()});
    std::printf("events: %ld sent while connected, %ld printed, %ld lost, %ld doubled\n",
                stage.sent, stage.printed, stage.lost, stage.doubled);
    std::printf("calls: %ld, by status:", calls);
    for (const auto& [status, count] : statuses) {
        std::printf(" %d: %ld", status, count);
    }
    std::printf("\nsettings: %d writes, all there\n", written);
    std::printf("listener: %ld kB and %zu descriptors at the start, %ld kB and %zu at the end\n",
                stage.at_start.kilobytes, stage.at_start.descriptors, stage.at_end.kilobytes,
                stage.at_end.descriptors);
}

TEST(Chaos, LosesNothing) {
    const unsigned seed = from_environment("QX_CHAOS_SEED", std::random_device()());
    std::printf("seed: %u\n", seed);
    std::fflush(stdout);
    std::list<SettingsWriter> writers;
    fs::create_directories(kInstallDir);
    for (int number = 0; number < kWriters; ++number) {
        writers.emplace_back(number, 10'000); // a writer, not a benchmark of the disk
    }
    Stage stage(seed);
    std::atomic<bool> stop = false;
    std::list<std::future<std::map<int, long>>> callers;
    for (unsigned number = 0; number < kCallers; ++number) {
        callers.push_back(
            std::async(std::launch::async, call_until, std::cref(stop), seed + number));
    }
    stage.run_for(std::chrono::seconds(from_environment("QX_CHAOS_SECONDS", 5)));
    stop = true;
    std::map<int, long> statuses;
    for (auto& caller : callers) {
        for (const auto& [status, count] : caller.get()) {
            EXPECT_THAT(status, ::testing::AnyOf(0, 1, 255));
            statuses[status] += count;
        }
    }
    stage.finish();
    int written = 0;
    for (SettingsWriter& writer : writers) {
        writer.kill_and_check();
        EXPECT_GT(writer.written(), 0);
        written += writer.written();
    }
    EXPECT_EQ(stage.at_end.descriptors, stage.at_start.descriptors);
    if (!kSanitized) { // sanitizers keep what is freed
        EXPECT_LT(stage.at_end.kilobytes, stage.at_start.kilobytes + 1024);
    }
    EXPECT_GT(stage.sent, 0);
    print_account(stage, statuses, written);
}

} // namespace
