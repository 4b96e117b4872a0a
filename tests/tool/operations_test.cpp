// Every operation that asks the broker: what reaches the wire, what is printed, and the status.

#include "agent.h"

#include <gmock/gmock.h>

namespace {

using namespace qx::test;
using ::testing::ElementsAreArray;

std::string command(const std::string& name, const std::string& data = "null") {
    return R"({"type": "command", "name": ")" + name + R"(", "data": )" + data + "}\n";
}

std::string failure(const std::string& data) {
    return R"({"status": 1, "data": )" + data + "}";
}

struct Operation {
    std::vector<std::string> words;
    std::map<std::string, std::string> answers; ///< by command; {"status": 0} where none is given
    std::vector<std::string> requests;
    std::string out;
    std::string err;
    int status = 0;
};

const std::string kErrorBlock = "error:\n"
                                "  code:        1\n"
                                "  message:     invalid params\n";

class Operations : public Agent {
protected:
    void check(const std::vector<Operation>& operations) {
        for (const Operation& operation : operations) {
            SCOPED_TRACE(::testing::PrintToString(operation.words));
            broker.forget_requests();
            for (const auto& [name, answer] : operation.answers) {
                broker.answer(name, answer);
            }
            const Outcome outcome = run_tool(operation.words);
            EXPECT_THAT(broker.requests(), ElementsAreArray(operation.requests));
            EXPECT_EQ(outcome.out, operation.out);
            EXPECT_EQ(outcome.err, operation.err);
            EXPECT_EQ(outcome.status, operation.status);
            for (const auto& [name, answer] : operation.answers) {
                broker.answer(name, R"({"status": 0})");
            }
        }
    }
};

TEST_F(Operations, ThatOnlyAskForSomethingToBeDone) {
    const std::map<std::string, std::string> commands = {
        {"enable", "enable_services"},
        {"disable", "disable_services"},
        {"enable_routerprotection", "enable_routerprotection"},
        {"disable_routerprotection", "disable_routerprotection"},
        {"va_start", "va_start"},
        {"va_stop", "va_stop"},
        {"va_self_scan_start", "va_self_scan_start"},
        {"pro_features_enable", "pro_features_enable"},
        {"pro_features_disable", "pro_features_disable"},
        {"reapply_firewall_rules", "reapply_firewall_rules"},
    };
    for (const auto& [word, name] : commands) {
        check({{{word}, {}, {command(name)}, "", "", 0},
               {{word}, {{name, failure("{}")}}, {command(name)}, "", "", 255}});
    }
}

TEST_F(Operations, ThatPrintWhatTheBrokerAnswers) {
    for (const std::string name :
         {"get_version_info", "get_subscription_status", "update_subscription_status",
          "get_diagnosis_report", "get_status_report"}) {
        check({{{name},
                {{name, R"({"status":0,"data":{"a":[1,2.5,"ü"]}})"}},
                {command(name)},
                "{\"a\": [1, 2.5, \"ü\"]}\n",
                "",
                0},
               // What is neither an object nor an array is no result to print.
               {{name}, {{name, R"({"status":0,"data":"text"})"}}, {command(name)}, "", "", 0},
               {{name}, {{name, failure(R"({"code":1})")}}, {command(name)}, "", "", 255}});
    }
}

TEST_F(Operations, ThatAnswerYesOrNo) {
    const std::map<std::string, std::pair<std::string, std::string>> fields = {
        {"is_enabled", {"get_services_status", "services_status"}},
        {"is_routerprotection_enabled", {"get_routerprotection_status", "routerprotection_status"}},
        {"va_status", {"va_status", "VA_scan_running"}},
    };
    for (const auto& [word, names] : fields) {
        const auto& [name, field] = names;
        check({{{word},
                {{name, R"({"status":0,"data":{"status":1}})"}},
                {command(name)},
                "{\"" + field + "\": true}\n",
                "",
                0},
               {{word},
                {{name, R"({"status":0,"data":{"status":0}})"}},
                {command(name)},
                "{\"" + field + "\": false}\n",
                "",
                0},
               {{word},
                {{name, R"({"status":0,"data":{"status":-1}})"}},
                {command(name)},
                "",
                "",
                255},
               {{word}, {{name, R"({"status":0})"}}, {command(name)}, "", "", 255}});
    }
}

TEST_F(Operations, RouterInformation) {
    check({
        {{"get_router_info"},
         {{"get_router_name", R"({"status":0,"data":"R"})"},
          {"get_router_model", failure("{}")},
          {"get_va_cloud_trigger", R"({"status":0,"data":true})"}},
         {command("get_router_name"), command("get_router_model"),
          command("get_router_serial_number"), command("get_router_firmware_version"),
          command("get_router_feature_set_level"), command("get_router_interfaces"),
          command("get_va_cloud_trigger")},
         "{\"name\": \"R\", \"use_va_cloud_trigger\": true}\n",
         "",
         0},
        {{"set_router_info", "--model", "m", "--name", ""},
         {},
         {command("set_router_model", "\"m\"")},
         "",
         "",
         0},
        {{"set_router_info"}, {}, {}, "", "", 0},
        {{"set_router_info", "--use_va_cloud_trigger=no", "--feature_set_level=f",
          "--firmware_version=v", "--serial_number=s", "--name=n", "--interfaces=br-wan:wan,lan:"},
         {},
         {command("set_router_name", "\"n\""), command("set_router_serial_number", "\"s\""),
          command("set_router_firmware_version", "\"v\""),
          command("set_router_feature_set_level", "\"f\""),
          command("set_router_interfaces",
                  R"([{"name": "br-wan", "type": "wan"}, {"name": "lan", "type": ""}])"),
          command("set_va_cloud_trigger", "false")},
         "",
         "",
         0},
        // One setter that fails does not keep the others back.
        {{"set_router_info", "--name=n", "--model=m"},
         {{"set_router_name", failure("{}")}},
         {command("set_router_name", "\"n\""), command("set_router_model", "\"m\"")},
         "",
         "",
         255},
        {{"set_router_info", "--name=n", "--interfaces", "eth0"}, {}, {}, "", "", 1},
        {{"set_router_info", "--name=n", "--interfaces", "a:b:c"}, {}, {}, "", "", 1},
        {{"set_router_info", "--name=n", "--interfaces", "a:b,"}, {}, {}, "", "", 1},
        {{"set_router_info", "--name=\xff"}, {}, {}, "", "", 1},
        {{"set_router_info", "--interfaces=a:\xff"}, {}, {}, "", "", 1},
    });
}

TEST_F(Operations, Devices) {
    const std::string report = R"("mac": "m", "interface": "i", "is_online": )";
    check({
        {{"set_device_info", "--device_id=d", "--name=n"},
         {},
         {command("set_device_name", R"({"device_id": "d", "name": "n"})")},
         "",
         "",
         0},
        {{"set_device_info", "--device_id=d", "--name=n", "--traffic_blocked=0x1"},
         {},
         {command("set_device_name", R"({"device_id": "d", "name": "n"})"),
          command("set_device_traffic_blocked", R"({"device_id": "d", "traffic_blocked": 1})")},
         "",
         "",
         0},
        {{"set_device_info", "--device_id=", "--name=n"}, {}, {}, "", "", 255},
        {{"set_device_info", "--device_id=\xff", "--name=n"}, {}, {}, "", "", 1},
        {{"set_device_online_status", "--mac=m", "--interface=i", "--is_online=false"},
         {},
         {command("set_device_online_status", "{" + report + "false}")},
         "",
         "",
         0},
        {{"set_device_online_status", "--mac=m", "--interface=i", "--is_online=", "--ip=1,\xff,2",
          "--hostname=h"},
         {},
         {command("set_device_online_status",
                  "{" + report + R"(true, "ip": ["1", "2"], "hostname": "h"})")},
         "",
         "",
         0},
        {{"set_device_online_status", "--mac=m", "--interface=i", "--is_online=yes"},
         {},
         {},
         "",
         "",
         255},
        {{"set_device_online_status", "--mac=", "--interface=i", "--is_online=no"},
         {},
         {},
         "",
         "",
         255},
        {{"get_devices"},
         {{"get_devices", R"({"status":0,"data":[{"id":"a"}]})"}},
         {command("get_devices", "[]")},
         "[{\"id\": \"a\"}]\n",
         "",
         0},
        {{"get_devices", "--ids=a,\xff,b"},
         {{"get_devices", failure(R"({"code": 2})")}},
         {command("get_devices", R"(["a", "b"])")},
         "{\"code\": 2}\n",
         "",
         255},
    });
}

std::string schedule(const std::string& on) {
    return command("va_set_schedule",
                   R"({"at": "1:2", "every": {"num": 3, "unit": "week"}, "on": )" + on + "}");
}

TEST_F(Operations, ScanSchedule) {
    const std::vector<std::string> words = {"va_set_schedule", "--at=1:2", "--every_num=3",
                                            "--every_unit=week"};
    const auto with_day = [&](const std::string& day) {
        std::vector<std::string> all = words;
        all.insert(all.end(), {"--on_prefix=first", "--on_day", day});
        return all;
    };
    const auto on = [](const std::string& day) {
        return schedule(R"({"prefix": "first", "day": )" + day + "}");
    };
    check({
        {words, {}, {schedule(R"({"prefix": "", "day": ""})")}, "", "", 0},
        {with_day("15"), {}, {on("15")}, "", "", 0},
        {with_day(" +5"), {}, {on("5")}, "", "", 0},
        {with_day("2nd"), {}, {on("2")}, "", "", 0},
        {with_day("monday"), {}, {on("\"monday\"")}, "", "", 0},
        {with_day("-"), {}, {on("\"-\"")}, "", "", 0},
        {with_day("2147483648"), {}, {on("\"2147483648\"")}, "", "", 0},
        {with_day("\xff"), {}, {}, "", "", 1},
        {words,
         {{"va_set_schedule", failure(R"({"error": "no"})")}},
         {schedule(R"({"prefix": "", "day": ""})")},
         "",
         "error_code=-1 error_message=no\n",
         1},
        {words,
         {{"va_set_schedule", failure("7")}},
         {schedule(R"({"prefix": "", "day": ""})")},
         "",
         "error_code=-1 error_message=internal error\n",
         1},
    });
}

TEST_F(Operations, ScanExclusions) {
    const std::string unreadable = "error:\n"
                                   "  code:        3\n"
                                   "  message:     internal error\n"
                                   "  description: failed to ";
    check({
        {{"va_set_exclusions", "--addresses=a,,b"},
         {},
         {command("va_set_exclusions", R"(["a", "", "b"])")},
         "",
         "",
         0},
        {{"va_set_exclusions"}, {}, {command("va_set_exclusions", "[]")}, "", "", 0},
        {{"va_set_exclusions", "--addresses=\xff"}, {}, {}, "", "", 1},
        {{"va_set_exclusions"},
         {{"va_set_exclusions", failure("\"bad\"")}},
         {command("va_set_exclusions", "[]")},
         "",
         kErrorBlock + "  description: \"bad\"\n",
         1},
        {{"va_set_exclusions"},
         {{"va_set_exclusions", R"({"status": 1})"}},
         {command("va_set_exclusions", "[]")},
         "",
         unreadable + "set the value\n",
         1},
        {{"va_get_exclusions"},
         {{"va_get_exclusions", R"({"status":0,"data":["a"]})"}},
         {command("va_get_exclusions")},
         "[\"a\"]\n",
         "",
         0},
        {{"va_get_exclusions"},
         {},
         {command("va_get_exclusions")},
         "",
         unreadable + "get the value\n",
         1},
    });
}

TEST_F(Operations, Registration) {
    const std::string manual = "Invalid router_id: \"manual\" is a mode, not a router_id\n";
    check({
        {{"register", "--params", "a=1,b=x y,a=2"},
         {},
         {command("start_registration", R"({"a": "2", "b": "x y"})")},
         "",
         "",
         0},
        {{"register"}, {}, {command("start_registration", "{}")}, "", "", 0},
        {{"register", "--params=router_id=Manual,mode=manual"},
         {},
         {command("start_registration", R"({"router_id": "Manual", "mode": "manual"})")},
         "",
         "",
         0},
        {{"register", "--params=a"}, {}, {}, "", "", 1},
        {{"register", "--params=a=1,b=c=d"}, {}, {}, "", "", 1},
        {{"register", "--params=a=1,"}, {}, {}, "", "", 1},
        {{"register", "--params==1"}, {}, {}, "", "", 1},
        {{"register", "--params=a=1,b=,c=3"}, {}, {}, "", "Empty value not allowed for 'b'\n", 1},
        {{"register", "--params=router_id=manual"}, {}, {}, "", manual, 1},
        {{"register", "--params=\xff=1"}, {}, {}, "", "", 1},
        {{"register"},
         {{"start_registration", failure(R"({"code": 1, "description": "d"})")}},
         {command("start_registration", "{}")},
         "",
         kErrorBlock + "  description: d\n",
         1},
    });
    EXPECT_EQ(log_text(),
              "ERROR [registration.cpp][run_register()]: [BUG] Empty key\n"
              "ERROR [registration.cpp][run_register()]: Empty value not allowed for 'b'\n"
              "ERROR [registration.cpp][run_register()]: " +
                  manual +
                  "ERROR [registration.cpp][run_register()]: qx::json::object_set() failed\n");
}

TEST_F(Operations, CloudRegistration) {
    const auto request = [](const std::string& token, const std::string& mac,
                            const std::string& code) {
        return command("start_cloud_registration",
                       R"({"token": ")" + token +
                           R"(", "token_type": "partner", "register_mac_address": ")" + mac +
                           R"(", "redeem_code": ")" + code + "\"}");
    };
    check({
        {{"register_to_cloud", "--params", "token=t,mac=m,redeem=r,token=u"},
         {},
         {request("u", "m", "r")},
         "",
         "",
         0},
        {{"register_to_cloud"}, {}, {request("", "", "")}, "", "", 0},
        {{"register_to_cloud", "--params", "user=x,=y,mac=m"},
         {},
         {request("", "m", "")},
         "",
         "Unknown key: user\nUnknown key: \n",
         0},
        {{"register_to_cloud", "--params", "user=x,mac"}, {}, {}, "", "Unknown key: user\n", 1},
        {{"register_to_cloud"},
         {{"start_cloud_registration", failure("{}")}},
         {request("", "", "")},
         "",
         "failed to register to cloud\n",
         1},
    });
}

TEST_F(Operations, Features) {
    const std::string list = R"({"type": "command", "name": "list_all_features"})"
                             "\n";
    check({
        {{"feature", "--get=a,,a", "--set=x=1", "--list"},
         {{"get_feature", R"({"status":0,"data":{"a":"on"}})"}},
         {command("get_feature", R"(["a", "", "a"])")},
         "{\"a\": \"on\"}\n",
         "",
         0},
        {{"feature", "--set", "x=1,x=,=n,n=5", "--list"},
         {},
         {command("set_feature", R"({"x": "", "": "n", "n": "5"})")},
         "",
         "",
         0},
        {{"feature", "--list"},
         {{"list_all_features", R"({"status":0,"data":["a"]})"}},
         {list},
         "[\"a\"]\n",
         "",
         0},
        {{"feature", "--get=", "--set="}, {}, {}, "", "", 1},
        {{"feature", "--set=a"}, {}, {}, "", "", 1},
        {{"feature", "--set=a=b=c"}, {}, {}, "", "", 1},
        {{"feature", "--set=a=\xff"}, {}, {}, "", "", 1},
        {{"feature", "--get=\xff"}, {}, {}, "", "", 1},
        {{"feature", "--get=a"},
         {{"get_feature", failure(R"({"code": 1})")}},
         {command("get_feature", R"(["a"])")},
         "",
         "Failed getting the features\n",
         1},
        {{"feature", "--set=a=b"},
         {{"set_feature", failure("{}")}},
         {command("set_feature", R"({"a": "b"})")},
         "",
         "Failed setting the features\n",
         1},
        {{"feature", "--list"},
         {{"list_all_features", failure("{}")}},
         {list},
         "",
         "Failed getting the features list\n",
         1},
    });
    EXPECT_EQ(log_text(),
              "ERROR [agent_features.cpp][run_set_feature()]: qx::json::object_set() failed\n");
}

TEST_F(Operations, NeedNoBrokerToMoveTheUpdateLocation) {
    check({{{"set_quillet_location", "staging"}, {}, {}, "", "", 0}});
    EXPECT_EQ(read_file(settings_file()), "{\"/quillet/update_location\": \"staging\"}\n");
}

} // namespace
