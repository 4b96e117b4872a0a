#include "broker_client.h"

#include <array>

namespace {

using namespace qx::test;
using ::testing::EndsWith;
using ::testing::HasSubstr;

std::string refusal(const std::string& code, const std::string& description) {
    return failure(R"({"code": )" + code + R"(, "description": ")" + description + "\"}");
}

TEST(Commands, SwitchesKeepWhatTheyAreSetTo) {
    const Simulator simulator;
    for (const std::string name : {"services", "routerprotection"}) {
        for (const char* const status : {"0", "1"}) {
            EXPECT_EQ(ask((*status == '0' ? "disable_" : "enable_") + name), kOk);
            EXPECT_EQ(ask("get_" + name + "_status"),
                      success("{\"status\": " + std::string(status) + "}"));
        }
    }
}

TEST(Commands, RouterFieldsAreReadBackAsSet) {
    const Simulator simulator;
    for (const std::string field :
         {"name", "model", "serial_number", "firmware_version", "feature_set_level"}) {
        EXPECT_EQ(ask("set_router_" + field, "\"new " + field + "\""), kOk);
        EXPECT_EQ(ask("get_router_" + field), success("\"new " + field + "\""));
        EXPECT_THAT(ask("set_router_" + field, "5"), HasSubstr("\"code\": 1,"));
    }
    const std::string interfaces = R"([{"name": "br-wan", "type": "wan"}])";
    EXPECT_EQ(ask("set_router_interfaces", interfaces), kOk);
    EXPECT_THAT(ask("set_router_interfaces", R"([{"name": "lan", "type": ""}])"),
                HasSubstr("needs a name"));
    EXPECT_EQ(ask("get_router_interfaces"), success(interfaces));
    EXPECT_EQ(ask("set_va_cloud_trigger", "false"), kOk);
    EXPECT_THAT(ask("set_va_cloud_trigger", "1"), HasSubstr("boolean"));
    EXPECT_EQ(ask("get_va_cloud_trigger"), success("false"));
}

TEST(Commands, DevicesAreListedRenamedAndBlocked) {
    const Simulator simulator(R"({"state": {"devices": [
        {"device_id": "a", "mac": "02:00:00:00:00:0a"}, {"device_id": "b", "name": "B"}]}})");
    const std::string renamed =
        R"([{"device_id": "a", "mac": "02:00:00:00:00:0a", "name": "A", "interface": "", "ip": [], )"
        R"("hostname": "", "online": false, "traffic_blocked": 1}])";
    EXPECT_EQ(ask("set_device_name", R"({"device_id": "a", "name": "A"})"), kOk);
    EXPECT_EQ(ask("set_device_traffic_blocked", R"({"device_id": "a", "traffic_blocked": true})"),
              kOk);
    EXPECT_EQ(ask("get_devices", R"(["a", "nobody"])"), success(renamed));
    EXPECT_EQ(ask("get_devices", "[]"), ask("get_devices"));
    EXPECT_THAT(ask("get_devices"), HasSubstr("\"device_id\": \"b\""));
    EXPECT_THAT(ask("get_devices", "{}"), HasSubstr("\"code\": 2,"));
    EXPECT_EQ(ask("set_device_name", R"({"device_id": "x", "name": "A"})"),
              refusal("1", "no device has this device_id"));
    EXPECT_EQ(ask("set_device_traffic_blocked", R"({"device_id": "a", "traffic_blocked": 2})"),
              refusal("1", "'traffic_blocked' must be 0 or 1"));
}

TEST(Commands, ReportsAddAtMostAThousandDevicesWithShortTexts) {
    const Simulator simulator(R"({"state": {"devices": [{"device_id": "a"}]}})");
    const BrokerClient client;
    client.subscribe("set_device_online_status_result");
    const auto report = [](int number, const std::string& interface, const std::string& hostname) {
        std::string last = std::to_string(number);
        return R"({"mac": "02:00:00:00:)" + last.insert(2, ":") + R"(", "interface": ")" +
               interface + R"(", "is_online": true, "ip": "192.0.2.7", "hostname": ")" + hostname +
               "\"}";
    };
    std::string reports = "[" + report(1000, "lan", "");
    for (int number = 1001; number < 2000; ++number) {
        reports += "," + report(number, "lan", "");
    }
    EXPECT_EQ(ask("set_device_online_status", reports + "]"), kOk);
    const std::string results = client.read_frame().value_or("");
    EXPECT_THAT(results, HasSubstr(R"(:19:98", "is_online": true, "result": "ok"})"));
    EXPECT_THAT(results, EndsWith(R"("result": "too many devices"}])"));
    const std::string longer(256, 'x');
    for (const std::string& wrong : {report(1000, longer, "h"), report(1000, "lan", longer)}) {
        EXPECT_THAT(ask("set_device_online_status", wrong), HasSubstr("255 bytes"));
    }
    EXPECT_THAT(ask("set_device_name", R"({"device_id": "a", "name": ")" + longer + "\"}"),
                HasSubstr("255 bytes"));
}

TEST(Commands, RefusalsHaveTheShapesThatClientsDecode) {
    const Simulator simulator;
    EXPECT_EQ(ask("start_registration", R"({"router_id": ""})"),
              refusal("2", "'router_id' must be a text that is not empty"));
    EXPECT_EQ(ask("start_registration", "{}"),
              refusal("2", "a registration needs an object with members"));
    EXPECT_EQ(ask("start_registration", R"({"router_id": "manual"})"),
              refusal("1", "'manual' is no router_id"));
    EXPECT_EQ(ask("start_registration", R"({"router_id": "r1"})"), kOk);
    EXPECT_EQ(
        ask("remove_satellite", R"({"mac": "02:00:00:00:00:01"})"),
        R"({"status": 1, "data": {"error": "no satellite has this MAC address", "code": 2}})");
    EXPECT_EQ(ask("remove_satellite", R"({"mac": "02:11:22:33:55:01"})"), kOk);
    EXPECT_THAT(ask("start_cloud_registration", R"({"token": "", "register_mac_address": "m"})"),
                HasSubstr("'token' is missing"));
    EXPECT_EQ(ask("get_version_info", "5"), refusal("1", "get_version_info takes no data"));
    EXPECT_EQ(ask("list_all_features", ""), ask("list_all_features"));
    EXPECT_EQ(ask("no_such"), refusal("1", "unknown command 'no_such'"));
    const BrokerClient client;
    for (const char* line :
         {"", "[]", "{\"type\": \"x\", \"name\": \"y\"}", "{\"type\": \"command\"}", "\xff{"}) {
        client.send(std::string(line) + "\n");
        EXPECT_THAT(client.read_frame().value_or(""),
                    HasSubstr("\"status\": 1, \"data\": {\"code\": 2,"))
            << line;
    }
}

TEST(Commands, FeaturesChangeAllOrNone) {
    const Simulator simulator(R"({"state": {"features": {"a": "enabled", "b": "disabled"}}})");
    EXPECT_EQ(ask("set_feature", R"({"a": "disabled"})"), success(R"({"a": "disabled"})"));
    EXPECT_EQ(ask("set_feature", R"({"b": "enabled", "a": "on"})"),
              refusal("1", "the status of 'a' must be enabled or disabled"));
    EXPECT_EQ(ask("set_feature", R"({"b": "enabled", "none": "enabled"})"),
              refusal("1", "unknown feature 'none'"));
    EXPECT_EQ(ask("get_feature", R"(["b", "a"])"),
              success(R"({"b": "disabled", "a": "disabled"})"));
    EXPECT_EQ(ask("get_feature", R"(["x"])"), refusal("1", "unknown feature 'x'"));
}

TEST(Commands, ExclusionPatternsAreJudged) {
    const Simulator simulator;
    const std::string good = R"(["AA:BB:CC:DD:EE:FF", "aa:[0-3|8]B:c[A-F|0]:00:00:0[1|b]"])";
    EXPECT_EQ(ask("va_set_exclusions", good), kOk);
    EXPECT_EQ(ask("va_get_exclusions"), success(good));
    const std::pair<const char*, const char*> bad[] = {
        {"AA:BB:CC:DD:EE", "must be separated"},
        {"AA:BB:CC:DD:EE:FF:00", "after the sixth"},
        {"AA-BB-CC-DD-EE-FF", "must be separated"},
        {"GA:BB:CC:DD:EE:FF", "digit is missing"},
        {"[0-5|3]A:BB:CC:DD:EE:FF", "overlap"},
        {"[a|A]A:BB:CC:DD:EE:FF", "overlap"},
        {"[5-3]A:BB:CC:DD:EE:FF", "must ascend"},
        {"[8-b]A:BB:CC:DD:EE:FF", "must ascend"},
        {"[A-f]A:BB:CC:DD:EE:FF", "must ascend"},
        {"[]A:BB:CC:DD:EE:FF", "needs single digits"},
        {"[1|]A:BB:CC:DD:EE:FF", "needs single digits"},
        {"[1A:BB:CC:DD:EE:FF", "']' is missing"},
    };
    for (const auto& [pattern, reason] : bad) {
        const std::string answer = ask("va_set_exclusions", "[\"" + std::string(pattern) + "\"]");
        EXPECT_THAT(answer, HasSubstr("{\"status\": 1, \"data\": \"")) << pattern;
        EXPECT_THAT(answer, HasSubstr(reason)) << pattern;
    }
    EXPECT_EQ(ask("va_get_exclusions"), success(good));
}

TEST(Commands, SchedulesAreJudged) {
    const Simulator simulator;
    const auto schedule = [](const std::string& at, const char* num, const std::string& unit,
                             const std::string& on) {
        return ask("va_set_schedule", R"({"at": ")" + at + R"(", "every": {"num": )" + num +
                                          R"(, "unit": ")" + unit + R"("}, "on": {)" + on + "}}");
    };
    EXPECT_EQ(schedule("00:00", "1", "day", R"("prefix": "", "day": "")"), kOk);
    EXPECT_EQ(schedule("23:59", "2", "week", R"("prefix": "", "day": 7)"), kOk);
    EXPECT_EQ(schedule("03:30", "1", "month", R"("prefix": "last", "day": "monday")"), kOk);
    EXPECT_EQ(schedule("03:30", "1", "month", R"("prefix": "", "day": 31)"), kOk);
    const std::array<const char*, 5> bad[] = {
        {"24:00", "1", "day", "", "'at' must be"},
        {"3:30", "1", "day", "", "'at' must be"},
        {"03:60", "1", "day", "", "'at' must be"},
        {"03:30", "0", "day", "", "'every.num'"},
        {"03:30", "1", "year", "", "'every.unit'"},
        {"03:30", "1", "day", R"("day": 1)", "does not go with the unit day"},
        {"03:30", "2", "week", R"("day": 8)", "1 to 7"},
        {"03:30", "2", "week", R"("prefix": "first", "day": "monday")", "month only"},
        {"03:30", "1", "month", R"("day": 32)", "1 to 31"},
        {"03:30", "1", "month", R"("prefix": "sixth", "day": "monday")", "must be first"},
        {"03:30", "1", "month", R"("prefix": "last", "day": 3)", "needs a day of the week"},
    };
    for (const auto& [at, num, unit, on, reason] : bad) {
        const std::string answer = schedule(at, num, unit, on);
        EXPECT_THAT(answer, HasSubstr("{\"status\": 1, \"data\": {\"error\": \"")) << answer;
        EXPECT_THAT(answer, HasSubstr(reason));
    }
    EXPECT_THAT(ask("get_status_report"), HasSubstr(R"("on": {"prefix": "", "day": 31})"));
}

TEST(Commands, EventsFollowChanges) {
    const Simulator simulator(R"({"state": {"devices": [], "scan_ms": 20, "services": {"status": 0},
                                            "next_subscription": {"plan": "pro"}}})");
    const BrokerClient client;
    for (const std::string& event : kEvents) {
        client.subscribe(event);
    }
    const auto event = [&client] { return client.read_frame().value_or(""); };

    EXPECT_EQ(
        ask("set_device_online_status",
            R"({"mac": "02:00:00:00:00:07", "interface": "lan", "is_online": true, "ip": "192.0.2.7"})"),
        kOk);
    EXPECT_THAT(event(), HasSubstr(R"("ip": ["192.0.2.7"], "hostname": "", "online": true)"));
    EXPECT_EQ(event(), R"({"device_ids": ["device-1"]})");
    EXPECT_EQ(event(), R"([{"mac": "02:00:00:00:00:07", "is_online": true, "result": "ok"}])");
    EXPECT_EQ(ask("set_device_online_status",
                  R"([{"mac": "02:00:00:00:00:08", "interface": "lan", "is_online": false}])"),
              kOk);
    EXPECT_THAT(event(), HasSubstr("unknown device"));
    for (const char* wrong : {"\"ip\": \"192.0.2.300\"", "\"ip\": []", "\"x\": 1"}) {
        const std::string report =
            R"({"mac": "02:00:00:00:00:07", "interface": "lan", "is_online": true, )";
        EXPECT_THAT(ask("set_device_online_status", report + wrong + "}"), HasSubstr("'ip'"));
    }

    EXPECT_EQ(ask("va_start"), kOk);
    EXPECT_EQ(event(), R"({"status": "started", "scan": "network"})");
    EXPECT_EQ(event(), R"({"status": "finished", "scan": "network"})");
    EXPECT_EQ(ask("va_stop"), refusal("1", "no scan is running"));
    EXPECT_EQ(ask("enable_services"), kOk);
    EXPECT_THAT(event(), HasSubstr("\"agent\""));
    EXPECT_THAT(ask("update_subscription_status"), HasSubstr("\"plan\": \"pro\""));
    EXPECT_THAT(event(), HasSubstr("\"plan\": \"pro\""));
    EXPECT_EQ(
        ask("start_cloud_registration",
            R"({"token": "t", "token_type": "partner", "register_mac_address": "02:00:00:00:00:01", )"
            R"("redeem_code": "r"})"),
        kOk);
    EXPECT_EQ(event(), R"({"status": "registered", "mac": "02:00:00:00:00:01"})");
    EXPECT_EQ(ask("update_subscription_status"), ask("get_subscription_status"));
    EXPECT_FALSE(client.has_input());
}

} // namespace
