// The record of the last failure, the deadline of a call, and the connection callback.

#include "agent_fixture.h"
#include "base/descriptor.h"

#include <atomic>
#include <csignal>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>

namespace {

using namespace qx::test;

qx_plix_failure_t last_failure() {
    qx_plix_failure_t failure{};
    EXPECT_EQ(qx_plix_last_failure(&failure), 0);
    return failure;
}

/// Returns "STAGE MESSAGE" of the last failure.
std::string last_reason() {
    const qx_plix_failure_t failure = last_failure();
    return std::to_string(failure.stage) + " " + failure.message;
}

using Failures = Agent;
using GenericCall = Agent;
using ConnectionCallback = StartedClient;

TEST_F(Failures, AreRecordedPerThreadUntilACallSucceeds) {
    EXPECT_EQ(last_reason(), "0 ");
    broker.answer("va_start", failure(R"({"code": -7, "description": "busy"})"));
    EXPECT_EQ(qx_plix_va_start(), -1);
    const qx_plix_failure_t refused = last_failure();
    EXPECT_EQ(refused.stage, QX_PLIX_STAGE_REFUSED);
    EXPECT_TRUE(refused.has_code == 1 && refused.code == -7 && refused.system_error == 0);
    EXPECT_STREQ(refused.description, "busy");
    EXPECT_STREQ(refused.message, "refused by the broker: busy (code -7)");
    EXPECT_EQ(qx_plix_last_failure(nullptr), -1);
    qx_plix_unsubscribe(QX_PLIX_QXAGENT_STARTED);
    EXPECT_EQ(last_reason(), "5 refused by the broker: busy (code -7)")
        << "unsubscribe does not change the record";
    std::thread([] { EXPECT_EQ(last_reason(), "0 "); }).join();
    EXPECT_EQ(qx_plix_va_stop(), 0);
    const qx_plix_failure_t cleared = last_failure();
    EXPECT_TRUE(cleared.stage == 0 && cleared.code == 0 && cleared.description[0] == '\0');
}

TEST_F(Failures, NameTheStageInWhichTheCallFailed) {
    char* out = nullptr;
    const auto expect = [](const std::string& reason, int result) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(last_reason(), reason);
    };
    expect("1 the output pointer is null", qx_plix_get_version_info(nullptr));
    expect("1 the document is not JSON: '}' expected near end of file",
           qx_plix_get_feature("{\"a\":1", &out));
    expect("1 the backlog limit is 0", qx_plix_set_backlog_limit(0));
    expect("2 the library is not started", qx_plix_register_to_cloud("t", "m", "r"));
    expect("2 the library is not started", qx_plix_read_event_fd(0, 0));
    broker.reply("enable_services", {"", true});
    expect("4 the broker closed the connection", qx_plix_enable());
    broker.reply("enable_services", {framed("[]")});
    expect("6 the broker's reply cannot be understood: it has no \"status\"", qx_plix_enable());
    broker.reply("enable_services", {std::string(4, '\xff')});
    expect("6 the broker's reply cannot be understood: its length is out of range",
           qx_plix_enable());
    broker.answer("get_services_status", R"({"status": 0, "data": {}})");
    int status = 0;
    expect("6 the broker's reply holds no status", qx_plix_is_enabled(&status));
    broker.answer("enable_services", failure(R"({"error": ")" + std::string(300, 'e') + "\"}"));
    expect("5 refused by the broker: " + std::string(255, 'e'), qx_plix_enable());
    broker.answer("set_router_name", failure("\"first\""));
    broker.answer("set_router_model", failure("\"second\""));
    expect("5 refused by the broker: first", qx_plix_set_router_info(R"({"name":"","model":""})"));
    broker.stop();
    expect("4 cannot connect to the broker: Connection refused", qx_plix_enable());
    EXPECT_EQ(last_failure().system_error, ECONNREFUSED);
    expect("4 cannot connect to the broker: Connection refused", qx_plix_init());
}

TEST_F(GenericCall, ReturnsTheBrokersDataEvenOnRefusal) {
    broker.answer("custom", success("[1, 2]"));
    char* out = nullptr;
    EXPECT_EQ(qx_plix_call("custom", R"("text")", &out), 0);
    EXPECT_STREQ(out, "[1, 2]");
    std::free(out);
    EXPECT_EQ(qx_plix_call("custom", nullptr, nullptr), 0);
    broker.answer("custom", failure("[3]"));
    EXPECT_EQ(qx_plix_call("custom", "{}", &out), -1);
    EXPECT_STREQ(out, "[3]");
    std::free(out);
    EXPECT_THAT(broker.requests(),
                ::testing::ElementsAre(command("custom", R"("text")"), command("custom"),
                                       command("custom", "{}")));
    for (const auto& [name, data] : {std::pair("", "1"), {nullptr, "1"}, {"custom", "x"}}) {
        EXPECT_EQ(qx_plix_call(name, data, nullptr), -1);
        EXPECT_EQ(last_failure().stage, QX_PLIX_STAGE_ARGUMENT);
    }
    EXPECT_EQ(broker.requests().size(), 3U);
}

class Deadlines : public Agent {
protected:
    void TearDown() override { qx_plix_set_timeout(0); }

    static void expect_time_out(int result) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(last_failure().stage, QX_PLIX_STAGE_TIMED_OUT) << last_reason();
        EXPECT_EQ(last_failure().system_error, ETIMEDOUT);
    }
};

TEST_F(Deadlines, EndCallsToASilentOrBlockedBroker) {
    ASSERT_EQ(qx_plix_init(), 0);
    qx_plix_set_timeout(30'000);
    EXPECT_EQ(qx_plix_enable(), 0);
    qx_plix_set_timeout(500);
    broker.reply("enable_services", {});
    expect_time_out(qx_plix_enable());
    broker.reply("set_router_name", {});
    expect_time_out(qx_plix_set_router_info(R"({"name": "n", "model": "m"})"));
    // All requests of a call share its deadline, so the second request must not be sent. The broker
    // accepts connections in order, so its reply to a later command shows that it has seen every
    // earlier request.
    qx_plix_set_timeout(30'000);
    EXPECT_EQ(qx_plix_reapply_firewall_rules(), 0);
    broker.wait_for_connections(0);
    EXPECT_THAT(broker.requests(),
                ::testing::Not(::testing::Contains(command("set_router_model", "\"m\""))));
    qx_plix_set_timeout(500);
    broker.reply("qxagent_started", {});
    expect_time_out(qx_plix_subscribe(QX_PLIX_QXAGENT_STARTED, Inbox::note, nullptr, nullptr));
    qx_plix_uninit();
    broker.stop();
    // This broker never accepts. The first connection fills its backlog, and the next one blocks.
    const qx::io::descriptor listener(broker_socket(::bind));
    require(::listen(listener.get(), 0) == 0, "listen");
    const std::string large = '"' + std::string(5'000'000, 'x') + '"';
    expect_time_out(qx_plix_call("large", large.c_str(), nullptr));
    expect_time_out(qx_plix_enable());
    expect_time_out(qx_plix_init());
}

std::atomic<int> alarms{0};

TEST_F(Deadlines, AreNotCutShortBySignalHandlers) {
    struct sigaction action {};
    action.sa_handler = [](int) { ++alarms; };
    require(::sigaction(SIGALRM, &action, nullptr) == 0, "sigaction");
    const itimerval often{{0, 5000}, {0, 5000}};
    require(::setitimer(ITIMER_REAL, &often, nullptr) == 0, "setitimer");
    broker.reply("enable_services", {});
    qx_plix_set_timeout(500);
    expect_time_out(qx_plix_enable());
    EXPECT_GT(alarms, 1);
    qx_plix_set_timeout(0);
    EXPECT_EQ(qx_plix_enable(), -1);
    EXPECT_EQ(last_failure().stage, QX_PLIX_STAGE_INTERRUPTED);
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
}

TEST_F(ConnectionCallback, RunsOncePerLossAndOncePerReturnOfTheBroker) {
    Inbox told;
    qx_plix_set_connection_cb(
        [](int connected, std::int64_t missed, void* inbox) {
            EXPECT_TRUE(missed >= 0 && (connected == 1 || missed == 0));
            Inbox::note(connected == 1 ? "back" : "lost", inbox);
        },
        &told);
    Inbox events;
    ASSERT_EQ(qx_plix_subscribe(QX_PLIX_QXAGENT_STARTED, Inbox::note, &events, nullptr), 0);
    ASSERT_EQ(qx_plix_subscribe(QX_PLIX_VA_STATUS_CHANGED, Inbox::note, &events, nullptr), 0);
    for (std::size_t times = 1; times <= 2; ++times) {
        broker.stop();
        told.wait_for(2 * times - 1);
        broker.start();
        told.wait_for(2 * times);
    }
    broker.drop_subscribers("va_status_changed");
    told.wait_for(6);
    qx_plix_uninit();
    EXPECT_THAT(told.events(),
                ::testing::ElementsAre("lost", "back", "lost", "back", "lost", "back"));
    qx_plix_set_connection_cb(nullptr, nullptr);
}

} // namespace
