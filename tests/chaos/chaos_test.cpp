// A listener, callers and writers of settings run concurrently while the broker is killed and
// restarted and sends late, incomplete and invalid answers. QX_CHAOS_SECONDS (default 5) sets the
// duration and QX_CHAOS_SEED the seed of the random choices. The test prints statistics at the end.

#include "broker_client.h"
#include "settings_writer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fmt/ranges.h>
#include <future>
#include <list>
#include <map>
#include <random>
#include <sstream>

namespace {

using namespace qx::test;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;
using Texts = std::vector<std::string>;

constexpr int kBurst = 20;
constexpr Milliseconds kBackWithin{1500};
const fs::path kPrinted = "/opt/printed";

const std::string& one_of(const Texts& all, std::mt19937& random) {
    return all[random() % all.size()];
}

/// Returns the lines of a file in this directory. "answers" holds scenario rules for commands,
/// "refusals" holds scenario rules for subscriptions, and "calls" holds command lines.
Texts read_lines(const char* name) {
    return lines_of(read_file(fs::path(QX_SOURCE_DIR) / "tests/chaos" / name));
}

/// Returns a random scenario. If `refuses`, the broker refuses one subscription.
std::string make_scenario(std::mt19937& random, bool refuses) {
    const Texts all_answers = read_lines("answers");
    std::string answers = "{}";
    for (int i = 0; i < 60; ++i) {
        answers += ", " + one_of(all_answers, random);
    }
    const std::string refusal = refuses ? fmt::format(R"("{}": [{}])", one_of(kEvents, random),
                                                      one_of(read_lines("refusals"), random))
                                        : "";
    return fmt::format(R"({{"commands": {{"*": [{}]}}, "subscriptions": {{{}}}}})", answers,
                       refusal);
}

/// Calls the tool until `stop` is set. Returns the number of calls per exit status; a negative
/// status is a signal.
std::map<int, long> call_until(const std::atomic<bool>& stop, unsigned seed) {
    const Texts calls = read_lines("calls");
    std::map<int, long> statuses;
    std::mt19937 random(seed);
    while (!stop) {
        std::istringstream words(one_of(calls, random));
        const Outcome outcome = run_tool({std::istream_iterator<std::string>(words), {}});
        ++statuses[outcome.signal != 0 ? -outcome.signal : outcome.status];
    }
    return statuses;
}

/// The resident memory and the number of open descriptors of a process.
struct Footprint {
    explicit Footprint(const Process& process)
        : kilobytes(resident_kib(std::to_string(process.pid())))
        , descriptors(open_descriptors(std::to_string(process.pid())).size()) {}

    long kilobytes;
    std::size_t descriptors;
};

/// Returns the lines that `listen` must print: one for each event that the broker sent to a
/// subscriber, according to `trace`.
Texts sent_events(const std::string& trace) {
    Texts events;
    const std::string before = "event ";
    const std::string between = " to 1: ";
    for (const std::string& line : lines_of(trace)) {
        const std::size_t at = line.find(between);
        if (line.starts_with(before) && at != std::string::npos) {
            events.push_back(printed(line.substr(before.size(), at - before.size()),
                                     line.substr(at + between.size())));
        }
    }
    return events;
}

/// Returns the texts of `all` that are missing from `others`.
Texts missing_from(Texts others, Texts all) {
    std::sort(others.begin(), others.end());
    std::sort(all.begin(), all.end());
    Texts missing;
    std::set_difference(all.begin(), all.end(), others.begin(), others.end(),
                        std::back_inserter(missing));
    return missing;
}

/// One listener and a sequence of brokers.
class Stage {
public:
    explicit Stage(unsigned seed)
        : random_(seed) {}

    /// Starts a broker, restarts it several times, and ends it with SIGKILL or SIGTERM.
    void one_life() {
        // A refusal would end a listener that is starting, so the first broker refuses nothing.
        // Later the listener retries a refused subscription.
        const bool refuses = deaths_ > 0 && random_() % 4 == 0;
        Simulator simulator(make_scenario(random_, refuses), {"--trace"});
        if (deaths_ == 0) {
            listener_.emplace(
                Texts{"sh", "-c", "exec \"$0\" listen >" + kPrinted.string(), QX_TOOL});
        }
        std::size_t requests = kEvents.size() + (refuses ? 1 : 0);
        wait_until_back(simulator, requests);
        // The listener is still starting under the first broker, so take the second measurement as
        // its footprint at the start.
        at_end_.emplace(*listener_);
        at_start_ = deaths_ < 2 ? at_end_ : at_start_;
        std::size_t returns = 0;
        for (int restart = 0; restart < 6 && !::testing::Test::HasFailure(); ++restart) {
            send_events(simulator);
            if (random_() % 8 == 0) {
                simulator.write("drop\n");
                ++drops_;
            } else {
                simulator.write(fmt::format("restart {}\n", random_() % 40));
                simulator.wait_for_output("listening again", ++returns);
                ++restarts_;
            }
            wait_until_back(simulator, requests += kEvents.size());
        }
        send_events(simulator);
        const Outcome death = simulator.stop(random_() % 2 == 0 ? SIGKILL : SIGTERM);
        const Texts events = sent_events(death.out);
        sent_.insert(sent_.end(), events.begin(), events.end());
        ++deaths_;
    }

    /// Stops the listener. The listener must have printed every event once and must not have grown.
    void finish() {
        EXPECT_EQ(listener_->stop(), Outcome());
        Texts printed;
        for (const std::string& line : lines_of(read_file(kPrinted))) {
            printed.push_back(line + "\n");
        }
        const Texts lost = missing_from(printed, sent_);
        const Texts surplus = missing_from(sent_, printed);
        fmt::print("broker: {} restarts, {} deaths, {} times all connections dropped; slowest "
                   "return of all subscriptions {} ms\n"
                   "events: {} sent while connected, {} printed, {} lost, {} doubled\n"
                   "listener: {} kB and {} descriptors at the start, {} kB and {} at the end\n",
                   restarts_, deaths_, drops_, slowest_return_.count(), sent_.size(),
                   printed.size(), lost.size(), surplus.size(), at_start_->kilobytes,
                   at_start_->descriptors, at_end_->kilobytes, at_end_->descriptors);
        EXPECT_FALSE(sent_.empty());
        EXPECT_EQ(lost, Texts());
        EXPECT_EQ(surplus, Texts());
        EXPECT_EQ(at_end_->descriptors, at_start_->descriptors);
        if (!kSanitized) { // sanitizers keep freed memory
            EXPECT_LT(at_end_->kilobytes, at_start_->kilobytes + 1024);
        }
    }

private:
    void wait_until_back(Simulator& simulator, std::size_t requests) {
        const auto start = Clock::now();
        simulator.wait_for_output(R"("type": "subscribe")", requests);
        const auto took = since(start);
        slowest_return_ = std::max(slowest_return_, took);
        EXPECT_LE(took, kBackWithin);
    }

    void send_events(Simulator& simulator) {
        ++rounds_;
        for (const std::string& name : kEvents) {
            simulator.write(
                fmt::format("burst {} {} {{\"n\": \"{}-%n\"}}\n", kBurst, name, rounds_));
        }
        simulator.wait_for_output(fmt::format(R"({{"n": "{}-{}"}})", rounds_, kBurst),
                                  kEvents.size());
        // The broker traces an event before it sends the event, so the trace does not show that all
        // events were sent. The broker's reply to a later command proves that they were. Keep
        // reading the trace, because the broker blocks while nobody reads it.
        const BrokerClient client;
        client.send(command("get_version_info"));
        while (!client.has_input()) {
            simulator.reads_output("this never comes", 1, Milliseconds(2));
        }
    }

    std::mt19937 random_;
    std::optional<Process> listener_;
    std::optional<Footprint> at_start_;
    std::optional<Footprint> at_end_;
    Texts sent_;
    Milliseconds slowest_return_{0};
    int rounds_ = 0;
    int restarts_ = 0;
    int deaths_ = 0;
    int drops_ = 0;
};

TEST(BrokerChaos, LosesNoEventAndNoSetting) {
    const unsigned seed = from_environment("QX_CHAOS_SEED", std::random_device()());
    std::printf("seed: %u\n", seed);
    std::fflush(stdout);
    fs::create_directories(kInstallDir);
    // The writers pause between writes so that the disk is not the bottleneck.
    SettingsWriter writers[] = {SettingsWriter(0, 10'000), SettingsWriter(1, 10'000)};
    std::atomic<bool> stop = false;
    std::future<std::map<int, long>> callers[] = {
        std::async(std::launch::async, call_until, std::cref(stop), seed),
        std::async(std::launch::async, call_until, std::cref(stop), seed + 1)};
    Stage stage(seed);
    const auto end = Clock::now() + std::chrono::seconds(from_environment("QX_CHAOS_SECONDS", 5));
    while (Clock::now() < end && !::testing::Test::HasFailure()) {
        stage.one_life();
    }
    stop = true;
    for (auto& caller : callers) {
        const std::map<int, long> statuses = caller.get();
        fmt::print("calls by status: {}\n", statuses);
        for (const auto& [status, count] : statuses) {
            EXPECT_THAT(status, ::testing::AnyOf(0, 1, 255)) << count << " times";
        }
    }
    stage.finish();
    for (SettingsWriter& writer : writers) {
        writer.kill_and_check();
        EXPECT_GT(writer.written(), 0);
        fmt::print("settings: {} writes, all there\n", writer.written());
    }
}

} // namespace
