// Listening: what is subscribed to and printed, and that it ends when it should, whatever the
// broker does.

#include "agent.h"
#include "broker_client.h"

namespace {

using namespace qx::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Clock = std::chrono::steady_clock;

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
    const auto tool = start({}, kEvents.size());
    std::vector<std::string> requests = kEvents;
    for (std::string& request : requests) {
        request = subscription(request);
    }
    EXPECT_EQ(broker.requests(), requests);
    for (const char* const event :
         {R"({"b":[1,"ü"],"a":null})", R"("no object")", "no JSON", "[]"}) {
        broker.emit("va_status_changed", event);
    }
    const std::string expected = printed("va_status_changed", R"({"b": [1, "ü"], "a": null})") +
                                 printed("va_status_changed", "[]");
    EXPECT_TRUE(tool->wait_for_output(expected));
    EXPECT_EQ(tool->stop(), (Outcome{.out = expected}));
}

TEST_F(Listen, SubscribesToNamedEventsInAscendingOrder) {
    const auto tool = start({"--events", "QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_DEVICE_DISCOVERY",
                             "--events", "QX_PLIX_VA_STATUS_CHANGED"},
                            2);
    EXPECT_THAT(broker.requests(),
                ElementsAre(subscription("device_discovery"), subscription("va_status_changed")));
}

TEST_F(Listen, NamesWhatItDoesNotKnow) {
    EXPECT_EQ(run_tool({"listen", "--events=QX_PLIX_VA_STATUS_CHANGED,qx_plix_device_discovery"}),
              (Outcome{.status = 1, .err = "Unknown event: qx_plix_device_discovery\n"}));
    EXPECT_THAT(broker.requests(), IsEmpty());
}

void expect_quick_end(Process& tool, int signal) {
    const auto begin = Clock::now();
    EXPECT_EQ(tool.stop(signal).status, 0);
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
        ASSERT_TRUE(tool->wait_for_output(printed("device_discovery", "[1]")));
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
        broker.answer("device_discovery", kOk);
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
    EXPECT_EQ(idle->finish(), Outcome{.status = 1});
    ASSERT_TRUE(broker.wait_for_subscribers(0));
    Process reader({"sh", "-c", std::string(QX_TOOL) + " listen | head -n 1"});
    ASSERT_TRUE(broker.wait_for_subscribers(7));
    broker.emit("device_discovery", "[]");
    EXPECT_EQ(reader.finish().out, printed("device_discovery", "[]"));
}

/// Greets each new subscriber to the event, so that a test sees when it is there.
std::string greeting(const std::string& event) {
    return R"({"event": ")" + event + R"(", "when": "subscribe", "data": ["hello"]})";
}

/// Returns when the whole burst is on its way: the order behind it has been followed.
void send_burst(Process& simulator, int events, const std::string& filler) {
    simulator.write("burst " + std::to_string(events) +
                    R"( devices_list_updated {"n": %n, "filler": ")" + filler + "\"}\n");
    simulator.write("nonsense\n");
    ASSERT_TRUE(simulator.wait_for_error("nonsense"));
}

TEST(ListenToTheSimulator, EndsOnASignalWhileItsReaderStandsStill) {
    Simulator simulator("{\"events\": [" + greeting("devices_list_updated") + "]}");
    for (const std::size_t filler : {std::size_t{10}, std::size_t{100'000}}) {
        Process tool({QX_TOOL, "listen", "--events=QX_PLIX_DEVICES_LIST_UPDATED"});
        ASSERT_TRUE(tool.wait_for_output(printed("devices_list_updated", R"(["hello"])")));
        send_burst(simulator, 8'000'000 / static_cast<int>(filler + 90), std::string(filler, 'x'));
        wait_until([&] { return resident_kib(std::to_string(tool.pid())) > 4000; });
        tool.signal(SIGTERM);
        EXPECT_TRUE(tool.ends_within(std::chrono::seconds(2)));
        const Outcome outcome = tool.finish();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(filler > 4096 || outcome.out.back() == '\n');
    }
}

TEST(ListenToTheSimulator, LosesNothingWhileItsReaderStandsStill) {
    constexpr int events = 100'000;
    Simulator simulator("{\"events\": [" + greeting("devices_list_updated") + "]}");
    Process tool({QX_TOOL, "listen", "--events=QX_PLIX_DEVICES_LIST_UPDATED"});
    std::string expected = printed("devices_list_updated", R"(["hello"])");
    ASSERT_TRUE(tool.wait_for_output(expected));
    const std::string filler(178, 'x');
    send_burst(simulator, events, filler);
    // The broker is not kept waiting: the tool takes them.
    const std::string pid = std::to_string(tool.pid());
    wait_until([&] { return resident_kib(pid) > events * 200 / 1024; });
    for (int n = 1; n <= events; ++n) {
        expected += printed("devices_list_updated",
                            "{\"n\": " + std::to_string(n) + R"(, "filler": ")" + filler + "\"}");
    }
    EXPECT_TRUE(tool.wait_for_output("\"n\": " + std::to_string(events) + ","));
    if (!kSanitized && !kEmulated) {
        wait_until([&] { return resident_kib(pid) < 4000; });
    }
    const Outcome outcome = tool.stop();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.out == expected)
        << outcome.out.size() << " bytes instead of " << expected.size();
}

TEST(ListenToTheSimulator, SurvivesFiftyRestarts) {
    std::string greetings;
    for (const std::string& name : kEvents) {
        greetings += (greetings.empty() ? "" : ", ") + greeting(name);
    }
    Simulator simulator("{\"events\": [" + greetings + "]}");
    Process tool({QX_TOOL, "listen"});
    std::size_t greeted = 0;
    const auto all_are_greeted = [&] {
        greeted += kEvents.size();
        return tool.wait_for_output("hello", greeted);
    };
    ASSERT_TRUE(all_are_greeted());
    const std::string pid = std::to_string(tool.pid());
    const std::vector<int> descriptors = open_descriptors(pid);
    for (int restart = 0; restart < 50; ++restart) {
        const auto begin = Clock::now();
        simulator.write("restart 0\n");
        ASSERT_TRUE(all_are_greeted()) << restart;
        EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(1500));
    }
    EXPECT_EQ(open_descriptors(pid), descriptors);
    const Outcome outcome = tool.stop();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(lines_of(outcome.out).size(), greeted);
}

} // namespace
