#include "broker_client.h"

#include <chrono>

namespace {

using namespace qx::test;
using ::testing::HasSubstr;

/// All bytes that the broker sends in answer to enable_services, until it closes the connection or,
/// as it may stay silent, until the test has seen `count` of them.
std::string answer_bytes(std::size_t count) {
    const BrokerClient client;
    client.send(command("enable_services"));
    return client.read(count);
}

TEST(Scenario, FramesAreBentOnTheirWay) {
    const Simulator simulator(R"({"commands": {"enable_services": [
        {"length": -5, "then": "close"},
        {"length": 2147483647, "then": "close"},
        {"send": 0, "then": "close"},
        {"send": 2, "then": "close"},
        {"send": 9, "then": "close"},
        {"raw": "garbage", "then": "close"},
        {"raw_hex": "02000000 7b7d", "then": "close"},
        {"chunk": 1, "pause_ms": 0, "then": "close"},
        {"data_size": 5000000, "then": "close"},
        {"send": 6}]}})");
    const std::string frame = std::string("\x0d\0\0\0", 4) + kOk;
    const std::string data = R"({"status": 0, "data": ")" + std::string(5000000, 'x') + "\"}";
    for (const std::string& bytes :
         {"\xfb\xff\xff\xff" + std::string(kOk), "\xff\xff\xff\x7f" + std::string(kOk),
          std::string(), frame.substr(0, 2), frame.substr(0, 9), std::string("garbage"),
          std::string("\2\0\0\0{}", 6), frame}) {
        EXPECT_EQ(answer_bytes(99), bytes);
    }
    EXPECT_EQ(answer_bytes(data.size() + 99).substr(4), data);
    const BrokerClient silent;
    silent.send(command("enable_services"));
    EXPECT_EQ(silent.read(6), frame.substr(0, 6));
    EXPECT_EQ(ask("disable_services"), kOk);
    EXPECT_FALSE(silent.has_input());
}

TEST(Scenario, ADelayedAnswerHoldsOnlyItsOwnClient) {
    const Simulator simulator(R"({"commands": {"enable_services": [{"delay_ms": 150}]}})");
    const auto start = std::chrono::steady_clock::now();
    const BrokerClient waiting;
    waiting.send(command("enable_services"));
    waiting.end_sending();
    EXPECT_EQ(ask("disable_services"), kOk);
    EXPECT_FALSE(waiting.has_input());
    EXPECT_EQ(waiting.read_frame(), kOk);
    EXPECT_TRUE(waiting.ends());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
}

TEST(Scenario, AnUnreadClientIsClosedWhenItLeaves) {
    Simulator simulator(R"({"connections": [{"accept": "silent"}]})", {"--trace"});
    BrokerClient().send(command("enable_services"));
    simulator.wait_for_output("#1 closed");
}

TEST(Scenario, TheBrokerRestartsOrDiesBeforeItAnswers) {
    Simulator simulator(R"({"commands": {"enable_services": [
        {"send": 0, "then": "restart", "down_ms": 0}, {"send": 4, "then": "exit"}]}})");
    EXPECT_EQ(answer_bytes(1), "");
    simulator.wait_for_output("listening again (restart 1)");
    EXPECT_EQ(answer_bytes(9).size(), 4U);
    EXPECT_EQ(simulator.finish().status, 3);
    EXPECT_TRUE(fs::exists(kVersionFile));
}

TEST(Scenario, EventsComeByThemselves) {
    const Simulator simulator(R"({"events": [
        {"event": "device_discovery", "when": "subscribe", "data": {"n": "%n"}, "times": 3, "every_ms": 1},
        {"event": "QX_PLIX_VA_STATUS_CHANGED", "after_ms": 1, "every_ms": 1, "times": 0, "body": "tick"},
        {"event": "qxagent_started", "when": "subscribe", "data": 1, "length": 100, "then": "close"}]})");
    for (int round = 0; round < 2; ++round) {
        const BrokerClient client;
        client.subscribe("device_discovery");
        for (const char* number : {"1", "2", "3"}) {
            EXPECT_EQ(client.read_frame(), "{\"n\": \"" + std::string(number) + "\"}");
        }
        client.subscribe("va_status_changed");
        EXPECT_EQ(client.read_frame(), "tick");
        EXPECT_EQ(client.read_frame(), "tick");
        const BrokerClient broken;
        broken.subscribe("qxagent_started");
        EXPECT_EQ(broken.read(99), std::string("\x64\0\0\0\x31", 5));
    }
}

TEST(Scenario, SubscriptionsFailAsAsked) {
    const Simulator simulator(
        R"({"subscriptions": {"device_discovery": [{"status": 1}, {"send": 3, "then": "close"}]}})");
    const std::string line = subscription("device_discovery");
    const BrokerClient refused;
    refused.send(line + subscription("nothing"));
    EXPECT_EQ(refused.read_frame(), "{\"status\": 1}");
    EXPECT_THAT(refused.read_frame().value_or(""), HasSubstr("unknown event 'nothing'"));
    const BrokerClient cut;
    cut.send(line);
    EXPECT_EQ(cut.read(9).size(), 3U);
    BrokerClient().subscribe("device_discovery");
}

TEST(Scenario, StartUpFaults) {
    Simulator simulator(R"({"version": "1.2\n", "lock": false})");
    EXPECT_EQ(read_file(kVersionFile), "1.2\n");
    // Nobody holds the file: another broker gets it where the socket is free, and keeps it.
    Process other({"unshare", "-n", QX_SIMULATOR, "--install-dir", kInstallDir});
    EXPECT_TRUE(other.wait_for_output("listening"));
    simulator.stop();
    EXPECT_EQ(read_file(kVersionFile), "1.3");
}

} // namespace
