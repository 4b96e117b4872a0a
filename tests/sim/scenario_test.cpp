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

TEST(Scenario, FixedAnswersAreUsedUpInOrder) {
    const Simulator simulator(R"({"commands": {
        "get_router_name": [{"status": 7, "data": {"code": 3, "description": "broken"}, "times": 2},
                            {"data": "fixed"}, {"status": "text"}, {"body": "no JSON"}, {"body": ""}],
        "set_router_name": [{"status": 0}],
        "*": [{"status": 9}]}})");
    const std::string broken = R"({"status": 7, "data": {"code": 3, "description": "broken"}})";
    for (const std::string& answer :
         {broken, broken, std::string(R"({"status": 0, "data": "fixed"})"),
          std::string(R"({"status": "text"})"), std::string("no JSON"), std::string()}) {
        EXPECT_EQ(ask("get_router_name"), answer);
    }
    EXPECT_EQ(ask("set_router_name", "\"unheard\""), kOk); // answered, but not carried out
    EXPECT_EQ(ask("get_version_info"), "{\"status\": 9}");
    EXPECT_EQ(ask("get_router_name"), R"({"status": 0, "data": "Home Router"})");
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

TEST(Scenario, ErrorsNameTheFileThePlaceAndTheReason) {
    const auto rule = [](const std::string& members) {
        return R"({"commands": {"va_stop": [{}, {)" + members + "}]}}";
    };
    const std::pair<std::string, const char*> wrong[] = {
        {"{", ":1:1: string or '}' expected near end of file"},
        {"[]", ": an object is needed, not an array"},
        {R"({"command": {}})", ": command: unknown member"},
        {R"({"commands": {"jump": []}})", ": commands.jump: unknown command"},
        {rule(R"("delay_ms": -1)"),
         ": commands.va_stop[1].delay_ms: an integer from 0 to 86400000 is needed"},
        {rule(R"("then": "stay")"),
         ": commands.va_stop[1].then: 'stay' is none of keep, close, restart, exit"},
        {rule(R"("raw_hex": "0")"),
         ": commands.va_stop[1].raw_hex: pairs of hexadecimal digits are needed"},
        {rule(R"("raw": "x", "length": 1)"),
         ": commands.va_stop[1].length: raw bytes have no length prefix"},
        {rule(R"("raw": "x", "raw_hex": "00")"),
         ": commands.va_stop[1].raw_hex: what is sent is given already"},
        {rule(R"("raw": "x", "status": 1)"),
         ": commands.va_stop[1].status: what is sent is given already"},
        {rule(R"("data": 1, "data_size": 2)"),
         ": commands.va_stop[1].data_size: what is sent is given already"},
        {R"({"events": [{"after_ms": 1}]})", ": events[0]: the member 'event' is needed"},
        {R"({"events": [{"event": "x"}]})", ": events[0].event: unknown event 'x'"},
        {R"({"events": [{"event": "qxagent_started", "body": "", "data": 1}]})",
         ": events[0].data: what is sent is given already"},
        {R"({"events": [{"event": "va_status_changed", "times": 0}]})",
         ": events[0].every_ms: an event that comes for ever needs a time between"},
        {R"({"lock": "no"})", ": lock: a boolean is needed, not a text"},
        {R"({"state": {"router": {"nmae": "x"}}})",
         ": state.router.nmae: the state has no such member"},
        {R"({"state": {"devices": [{"ip": "x"}]}})",
         ": state.devices[0].ip: an array is needed, not a text"},
    };
    for (const auto& [scenario, reason] : wrong) {
        EXPECT_EQ(
            run({QX_SIMULATOR, "--install-dir", kInstallDir, "--scenario",
                 scenario_file(scenario)}),
            (Outcome{.status = 1,
                     .err = std::string("qxbrokerd-sim: /etc/scenario.json") + reason + "\n"}));
    }
    EXPECT_FALSE(fs::exists(kInstallDir));
}

} // namespace
