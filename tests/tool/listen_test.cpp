// Listening: what is subscribed to and printed, and that it ends when it should, whatever the
// broker does.

#include "agent.h"
#include "broker_client.h"
#include "sanitized.h"
#include "world.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sched.h>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using namespace qx::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Clock = std::chrono::steady_clock;

const std::vector<std::string> kBrokerNames = {"device_discovery",
                                               "subscription_changed",
                                               "cloud_registration_status",
                                               "devices_list_updated",
                                               "qxagent_started",
                                               "va_status_changed",
                                               "set_device_online_status_result"};

std::string subscription(const std::string& event) {
    return R"({"type": "subscribe", "name": ")" + event + "\"}\n";
}

std::string printed(const std::string& name, const std::string& data) {
    return R"({"event_name": ")" + name + R"(", "data": )" + data + "}\n";
}

struct Listen : Agent {
    /// A listening tool that has subscribed to all that it wants.
    std::unique_ptr<Process> start(std::vector<std::string> words, std::size_t subscriptions) {
        words.insert(words.begin(), {QX_TOOL, "listen"});
        broker.forget_requests();
        auto tool = std::make_unique<Process>(words);
        EXPECT_TRUE(broker.wait_for_requests(subscriptions));
        return tool;
    }
};

TEST_F(Listen, SubscribesToAllEventsInTheOrderOfTheirTypes) {
    const auto tool = start({}, 7);
    std::vector<std::string> requests;
    requests.reserve(kBrokerNames.size());
    for (const std::string& name : kBrokerNames) {
        requests.push_back(subscription(name));
    }
    EXPECT_EQ(broker.requests(), requests);
    broker.emit("va_status_changed", R"({"b":[1,"ü"],"a":null})");
    broker.emit("va_status_changed", R"("no object")");
    broker.emit("va_status_changed", "no JSON");
    broker.emit("va_status_changed", "[]");
    const std::string expected =
        printed("QX_PLIX_VA_STATUS_CHANGED", R"({"b": [1, "ü"], "a": null})") +
        printed("QX_PLIX_VA_STATUS_CHANGED", "[]");
    EXPECT_TRUE(tool->wait_for_output(expected));
    tool->signal(SIGTERM);
    const Outcome outcome = tool->finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, expected);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Listen, SubscribesToNamedEventsInAscendingOrder) {
    const auto tool = start({"--events", "QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_DEVICE_DISCOVERY",
                             "--events", "QX_PLIX_VA_STATUS_CHANGED"},
                            2);
    EXPECT_THAT(broker.requests(),
                ElementsAre(subscription("device_discovery"), subscription("va_status_changed")));
}

TEST_F(Listen, NamesWhatItCannotListenTo) {
    const auto listen = [](const std::string& events) {
        return run_tool({"listen", "--events=" + events});
    };
    Outcome outcome = listen("QX_PLIX_VA_STATUS_CHANGED,qx_plix_device_discovery");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "Unknown event: qx_plix_device_discovery\n");
    EXPECT_THAT(broker.requests(), IsEmpty());
    broker.answer("va_status_changed", R"({"status": 1})");
    outcome = listen("QX_PLIX_VA_STATUS_CHANGED");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "Failed to subscribe to event: QX_PLIX_VA_STATUS_CHANGED\n");
    EXPECT_EQ(outcome.out, "");
}

void expect_quick_end(Process& tool, int signal) {
    const auto begin = Clock::now();
    tool.signal(signal);
    EXPECT_EQ(tool.finish().status, 0);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(2));
}

TEST_F(Listen, EndsOnASignalWhateverTheBrokerDoes) {
    const std::vector<std::string> one = {"--events=QX_PLIX_DEVICE_DISCOVERY"};
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM}) {
        expect_quick_end(*start(one, 1), signal);
    }
    {
        SCOPED_TRACE("silent in the middle of a frame");
        const auto tool = start(one, 1);
        broker.emit("device_discovery", "[1]");
        broker.emit_raw("device_discovery", std::string("\x10\0\0\0[", 5));
        ASSERT_TRUE(tool->wait_for_output(printed("QX_PLIX_DEVICE_DISCOVERY", "[1]")));
        expect_quick_end(*tool, SIGTERM);
    }
    {
        SCOPED_TRACE("takes connections and says nothing");
        const auto tool = start(one, 1);
        broker.reply("device_discovery", {});
        broker.drop_subscribers("device_discovery");
        ASSERT_TRUE(broker.wait_for_requests(2));
        expect_quick_end(*tool, SIGTERM);
        broker.forget_requests();
        Process first({QX_TOOL, "listen"});
        ASSERT_TRUE(broker.wait_for_requests(1));
        expect_quick_end(first, SIGINT);
        broker.answer("device_discovery", R"({"status": 0})");
    }
    {
        SCOPED_TRACE("is gone");
        const auto tool = start(one, 1);
        broker.stop();
        expect_quick_end(*tool, SIGTERM);
    }
}

TEST_F(Listen, EndsQuietlyWhenItsReaderIsGone) {
    const auto idle = start({}, 7);
    idle->close_output();
    const Outcome outcome = idle->finish();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");

    ASSERT_TRUE(broker.wait_for_subscribers(0));
    Process reader({"sh", "-c", std::string(QX_TOOL) + " listen | head -n 1"});
    ASSERT_TRUE(broker.wait_for_subscribers(7));
    broker.emit("device_discovery", "[]");
    EXPECT_EQ(reader.finish().out, printed("QX_PLIX_DEVICE_DISCOVERY", "[]"));
}

/// Greets each new subscriber to the event, so that a test sees when it is there.
std::string greeting(const std::string& event) {
    return R"({"event": ")" + event + R"(", "when": "subscribe", "data": ["hello"]})";
}

/// Waits until the program's resident memory is as it should be.
template <typename Condition>
void wait_for_memory(const Process& process, Condition in_kib) {
    const auto deadline = Clock::now() + kPatience;
    long pages = 0;
    do {
        std::istringstream statm(read_file("/proc/" + std::to_string(process.pid()) + "/statm"));
        statm >> pages >> pages;
        ASSERT_LT(Clock::now(), deadline) << pages << " pages";
        ::sched_yield();
    } while (!in_kib(pages * (::sysconf(_SC_PAGESIZE) / 1024)));
}

/// Returns when the whole burst is on its way: the order behind it has been followed.
void send_burst(Process& simulator, int events, const std::string& filler) {
    simulator.write("burst " + std::to_string(events) +
                    R"( devices_list_updated {"n": %n, "filler": ")" + filler + "\"}\n");
    simulator.write("nonsense\n");
    ASSERT_TRUE(simulator.wait_for_error("nonsense"));
}

TEST(ListenToTheSimulator, EndsOnASignalWhileItsReaderStandsStill) {
    const std::string name = "QX_PLIX_DEVICES_LIST_UPDATED";
    Simulator simulator("{\"events\": [" + greeting("devices_list_updated") + "]}");
    for (const std::size_t filler : {std::size_t{10}, std::size_t{100'000}}) {
        Process tool({QX_TOOL, "listen", "--events=" + name});
        ASSERT_TRUE(tool.wait_for_output(printed(name, R"(["hello"])")));
        send_burst(simulator, 8'000'000 / static_cast<int>(filler + 90), std::string(filler, 'x'));
        wait_for_memory(tool, [](long kib) { return kib > 4000; });
        tool.signal(SIGTERM);
        EXPECT_TRUE(tool.ends_within(std::chrono::seconds(2)));
        const Outcome outcome = tool.finish();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(filler > 4096 || outcome.out.back() == '\n');
    }
}

TEST(ListenToTheSimulator, LosesNothingWhileItsReaderStandsStill) {
    constexpr int events = 100'000;
    const std::string name = "QX_PLIX_DEVICES_LIST_UPDATED";
    Simulator simulator("{\"events\": [" + greeting("devices_list_updated") + "]}");
    Process tool({QX_TOOL, "listen", "--events=" + name});
    std::string expected = printed(name, R"(["hello"])");
    ASSERT_TRUE(tool.wait_for_output(expected));
    const std::string filler(178, 'x');
    send_burst(simulator, events, filler);
    // The broker is not kept waiting: the tool takes them.
    wait_for_memory(tool, [](long kib) { return kib > events * 200 / 1024; });
    for (int n = 1; n <= events; ++n) {
        expected +=
            printed(name, "{\"n\": " + std::to_string(n) + R"(, "filler": ")" + filler + "\"}");
    }
    EXPECT_TRUE(tool.wait_for_output("\"n\": " + std::to_string(events) + ","));
    if (!kSanitized && !kEmulated) {
        wait_for_memory(tool, [](long kib) { return kib < 4000; });
    }
    tool.signal(SIGTERM);
    const Outcome outcome = tool.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.out == expected)
        << outcome.out.size() << " bytes instead of " << expected.size();
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size())) {
        ++found;
    }
    return found;
}

std::size_t descriptors_of(pid_t pid) {
    const fs::directory_iterator entries("/proc/" + std::to_string(pid) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

TEST(ListenToTheSimulator, SurvivesFiftyRestarts) {
    std::string greetings;
    for (const std::string& name : kBrokerNames) {
        greetings += (greetings.empty() ? "" : ", ") + greeting(name);
    }
    Simulator simulator("{\"events\": [" + greetings + "]}");
    Process tool({QX_TOOL, "listen"});
    std::size_t greeted = 0;
    const auto all_are_greeted = [&] {
        greeted += kBrokerNames.size();
        return tool.wait_for_output("hello", greeted);
    };
    ASSERT_TRUE(all_are_greeted());
    const std::size_t descriptors = descriptors_of(tool.pid());
    for (int restart = 0; restart < 50; ++restart) {
        const auto begin = Clock::now();
        simulator.write("restart 0\n");
        ASSERT_TRUE(all_are_greeted()) << restart;
        EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(1500));
    }
    EXPECT_EQ(descriptors_of(tool.pid()), descriptors);
    tool.signal(SIGTERM);
    const Outcome outcome = tool.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(count(outcome.out, "\n"), greeted);
}

} // namespace
