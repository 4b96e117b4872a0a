// Every operation that asks the broker: what reaches the wire, what is printed, and the status.

#include "agent.h"

namespace {

using namespace qx::test;
using ::testing::ElementsAreArray;

using Words = std::vector<std::string>;

std::string error_block(int code, const std::string& message, const std::string& description) {
    return "error:\n  code:        " + std::to_string(code) + "\n  message:     " + message +
           "\n  description: " + description + "\n";
}

class Operations : public Agent {
protected:
    /// What the broker answers to `name` during the next check, instead of {"status": 0}.
    void answer(const std::string& name, const std::string& json) {
        broker.answer(name, json);
        answered_.push_back(name);
    }

    void check(const Words& words, const std::vector<std::string>& requests,
               const Outcome& ends = {}) {
        SCOPED_TRACE(::testing::PrintToString(words));
        broker.forget_requests();
        EXPECT_EQ(run_tool(words), ends);
        EXPECT_THAT(broker.requests(), ElementsAreArray(requests));
        for (const std::string& name : answered_) {
            broker.answer(name, kOk);
        }
        answered_.clear();
    }

    /// Each value, given to the last of `words`, ends the tool with 1 before anything is sent.
    void check_refused(const Words& words, const std::vector<std::string>& values) {
        for (const std::string& value : values) {
            Words all = words;
            all.back() += "=" + value;
            check(all, {}, {.status = 1});
        }
    }

private:
    std::vector<std::string> answered_;
};

TEST_F(Operations, ThatOnlyAskForSomethingToBeDone) {
    for (const std::string word :
         {"enable", "disable", "enable_routerprotection", "disable_routerprotection", "va_start",
          "va_stop", "va_self_scan_start", "pro_features_enable", "pro_features_disable",
          "reapply_firewall_rules"}) {
        const bool is_switch = word == "enable" || word == "disable";
        const std::string name = is_switch ? word + "_services" : word;
        check({word}, {command(name)});
        answer(name, failure("{}"));
        check({word}, {command(name)}, {.status = 255});
    }
}

TEST_F(Operations, ThatPrintWhatTheBrokerAnswers) {
    for (const std::string name :
         {"get_version_info", "get_subscription_status", "update_subscription_status",
          "get_diagnosis_report", "get_status_report"}) {
        answer(name, success(R"({"a":[1,2.5,"ü"]})"));
        check({name}, {command(name)}, {.out = "{\"a\": [1, 2.5, \"ü\"]}\n"});
        // What is neither an object nor an array is no result to print.
        for (const char* const other : {"\"text\"", "null"}) {
            answer(name, success(other));
            check({name}, {command(name)});
        }
        answer(name, failure(R"({"code":1})"));
        check({name}, {command(name)}, {.status = 255});
    }
    const std::string large = "[\"" + std::string(5'000'000, 'x') + "\"]";
    broker.answer("get_version_info", success(large));
    EXPECT_TRUE(run_tool({"get_version_info"}).out == large + "\n");
}

TEST_F(Operations, ThatAnswerYesOrNo) {
    const std::map<std::string, std::pair<std::string, std::string>> fields = {
        {"is_enabled", {"get_services_status", "services_status"}},
        {"is_routerprotection_enabled", {"get_routerprotection_status", "routerprotection_status"}},
        {"va_status", {"va_status", "VA_scan_running"}},
    };
    for (const auto& [word, names] : fields) {
        const auto& [name, field] = names;
        answer(name, success(R"({"status":1})"));
        check({word}, {command(name)}, {.out = "{\"" + field + "\": true}\n"});
        answer(name, success(R"({"status":0})"));
        check({word}, {command(name)}, {.out = "{\"" + field + "\": false}\n"});
        answer(name, success(R"({"status":-1})"));
        check({word}, {command(name)}, {.status = 255});
        check({word}, {command(name)}, {.status = 255});
    }
}

TEST_F(Operations, RouterInformation) {
    const auto set = [](const std::string& field, const std::string& value) {
        return command("set_router_" + field, value);
    };
    answer("get_router_name", success("\"R\""));
    answer("get_router_model", failure("\"M\""));
    answer("get_router_interfaces", success("[1]"));
    answer("get_va_cloud_trigger", success("true"));
    check({"get_router_info"},
          {command("get_router_name"), command("get_router_model"),
           command("get_router_serial_number"), command("get_router_firmware_version"),
           command("get_router_feature_set_level"), command("get_router_interfaces"),
           command("get_va_cloud_trigger")},
          {.out = "{\"name\": \"R\", \"interfaces\": [1], \"use_va_cloud_trigger\": true}\n"});
    check({"set_router_info", "--model", "m", "--name", ""}, {set("model", "\"m\"")});
    check({"set_router_info"}, {});
    check({"set_router_info", "--use_va_cloud_trigger=no", "--feature_set_level=f",
           "--firmware_version=v", "--serial_number=s", "--name=n", "--interfaces=br-wan:wan,lan:"},
          {set("name", "\"n\""), set("serial_number", "\"s\""), set("firmware_version", "\"v\""),
           set("feature_set_level", "\"f\""),
           set("interfaces", R"([{"name": "br-wan", "type": "wan"}, {"name": "lan", "type": ""}])"),
           command("set_va_cloud_trigger", "false")});
    // One setter that fails does not keep the others back.
    answer("set_router_name", failure("{}"));
    check({"set_router_info", "--name=n", "--model=m"},
          {set("name", "\"n\""), set("model", "\"m\"")}, {.status = 255});
    check_refused({"set_router_info", "--name=n", "--interfaces"},
                  {"eth0", "a:b:c", "a:b,", "a:\xff"});
    check_refused({"set_router_info", "--name"}, {"\xff"});
}

TEST_F(Operations, Devices) {
    check({"set_device_info", "--device_id=d", "--name=n"},
          {command("set_device_name", R"({"device_id": "d", "name": "n"})")});
    check({"set_device_info", "--device_id=d", "--name=n", "--traffic_blocked=0x1"},
          {command("set_device_name", R"({"device_id": "d", "name": "n"})"),
           command("set_device_traffic_blocked", R"({"device_id": "d", "traffic_blocked": 1})")});
    check({"set_device_info", "--device_id=", "--name=n"}, {}, {.status = 255});
    check_refused({"set_device_info", "--name=n", "--device_id"}, {"\xff"});

    const auto report = [](const std::string& rest) {
        return command("set_device_online_status",
                       R"({"mac": "m", "interface": "i", "is_online": )" + rest + "}");
    };
    const Words words = {"set_device_online_status", "--interface=i"};
    const auto with = [&words](const Words& more) {
        Words all = words;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    check(with({"--mac=m", "--is_online=false"}), {report("false")});
    check(with({"--mac=m", "--is_online=", "--ip=1,\xff,2", "--hostname=h"}),
          {report(R"(true, "ip": ["1", "2"], "hostname": "h")")});
    check(with({"--mac=m", "--is_online=yes"}), {}, {.status = 255});
    check(with({"--mac=", "--is_online=no"}), {}, {.status = 255});
    check_refused(with({"--is_online=no", "--mac"}), {"\xff"});

    answer("get_devices", success(R"([{"id":"a"}])"));
    check({"get_devices"}, {command("get_devices", "[]")}, {.out = "[{\"id\": \"a\"}]\n"});
    answer("get_devices", failure(R"({"code": 2})"));
    check({"get_devices", "--ids=a,\xff,b"}, {command("get_devices", R"(["a", "b"])")},
          {.status = 255, .out = "{\"code\": 2}\n"});
}

TEST_F(Operations, RegistrationTakesSecretsFromStandardInput) {
    const std::string big = "a=" + std::string(1024UL * 1024, 'x');
    const std::string empty = "Empty value not allowed for 'b'\n";
    const struct {
        std::string input;
        std::string record; ///< what is sent, or ""
        std::string error;
    } cases[] = {
        {"", "{}", ""},
        {"a=1", R"({"a": "1"})", ""},
        {"a=x,y==\n\nb= -\r\na=2\n", R"({"a": "2", "b": " -\r"})", ""},
        {"token=a=,b\n-=-\n", R"({"token": "a=,b", "-": "-"})", ""},
        {"a=1\nb\n", "", ""},
        {"a=1\nb=\nc\n", "", empty},
        {"=1\n", "", ""},
        {std::string("a=\0", 3), "", ""},
        {big, "", "standard input: more than 1 MiB of parameters\n"},
    };
    for (const auto& c : cases) {
        broker.forget_requests();
        Process tool({QX_TOOL, "register", "--params", "-"});
        tool.write(c.input);
        tool.close_input();
        const int status = c.record.empty() ? 1 : 0;
        EXPECT_EQ(tool.finish(), (Outcome{.status = status, .err = c.error}))
            << c.input.substr(0, 40);
        EXPECT_EQ(broker.requests(),
                  c.record.empty() ? Words{} : Words{command("start_registration", c.record)});
    }
    check({"register", "--params=-,a=1"}, {}, {.status = 1});
    EXPECT_EQ(run({"sh", "-c", QX_TOOL " register_to_cloud --params=- <&-"}).err,
              "standard input: Bad file descriptor\n");
    broker.forget_requests();
    EXPECT_EQ(run({"sh", "-c", "echo 'token=,=' | " QX_TOOL " register_to_cloud --params=-"}),
              Outcome{});
    EXPECT_THAT(broker.requests().front(), ::testing::HasSubstr(R"("token": ",=")"));
}

TEST_F(Operations, ScanSchedule) {
    const auto schedule = [](const std::string& prefix, const std::string& day) {
        return command("va_set_schedule",
                       R"({"at": "1:2", "every": {"num": 3, "unit": "week"}, "on": {"prefix": ")" +
                           prefix + R"(", "day": )" + day + "}}");
    };
    const Words words = {"va_set_schedule", "--at=1:2", "--every_num=3", "--every_unit=week"};
    check(words, {schedule("", "\"\"")});
    for (const auto& [text, refusal] :
         {std::pair("no", R"({"error": "no"})"), std::pair("internal error", "7")}) {
        answer("va_set_schedule", failure(refusal));
        check(words, {schedule("", "\"\"")},
              {.status = 1, .err = "error_code=-1 error_message=" + std::string(text) + "\n"});
    }
    Words with_day = words;
    with_day.insert(with_day.end(), {"--on_prefix=first", "--on_day"});
    check_refused(with_day, {"\xff"});
    const std::pair<const char*, const char*> days[] = {{"15", "15"},
                                                        {" +5", "5"},
                                                        {"2nd", "2"},
                                                        {"-", "\"-\""},
                                                        {"monday", "\"monday\""},
                                                        {"2147483648", "\"2147483648\""}};
    with_day.emplace_back();
    for (const auto& [given, sent] : days) {
        with_day.back() = given;
        check(with_day, {schedule("first", sent)});
    }
}

TEST_F(Operations, ScanExclusions) {
    const auto set = [](const char* list) { return command("va_set_exclusions", list); };
    check({"va_set_exclusions", "--addresses=a,,b"}, {set(R"(["a", "", "b"])")});
    check({"va_set_exclusions"}, {set("[]")});
    check_refused({"va_set_exclusions", "--addresses"}, {"\xff"});
    answer("va_set_exclusions", failure("\"bad\""));
    check({"va_set_exclusions"}, {set("[]")},
          {.status = 1, .err = error_block(1, "invalid params", "\"bad\"")});
    answer("va_set_exclusions", R"({"status": 1})");
    check({"va_set_exclusions"}, {set("[]")},
          {.status = 1, .err = error_block(3, "internal error", "failed to set the value")});
    answer("va_get_exclusions", success(R"(["a"])"));
    check({"va_get_exclusions"}, {command("va_get_exclusions")}, {.out = "[\"a\"]\n"});
    for (const std::string& nothing : {failure("1"), std::string(kOk)}) {
        answer("va_get_exclusions", nothing);
        check({"va_get_exclusions"}, {command("va_get_exclusions")},
              {.status = 1, .err = error_block(3, "internal error", "failed to get the value")});
    }
}

TEST_F(Operations, Registration) {
    const std::string manual = "Invalid router_id: \"manual\" is a mode, not a router_id\n";
    const std::string empty = "Empty value not allowed for 'b'\n";
    const auto request = [](const char* record) { return command("start_registration", record); };
    check({"register", "--params", "a=1,b=x y,a=2"}, {request(R"({"a": "2", "b": "x y"})")});
    check({"register"}, {request("{}")});
    check({"register", "--params=router_id=Manual,mode=manual"},
          {request(R"({"router_id": "Manual", "mode": "manual"})")});
    check({"register", "--params=a=1,b=,c=3"}, {}, {.status = 1, .err = empty});
    check({"register", "--params=router_id=manual"}, {}, {.status = 1, .err = manual});
    check_refused({"register", "--params"}, {"a", "a=1,b=c=d", "a=1,", "=1", "\xff=1"});
    answer("start_registration", failure(R"({"code": 1, "description": "d"})"));
    check({"register"}, {request("{}")},
          {.status = 1, .err = error_block(1, "invalid params", "d")});
    const std::string line = "ERROR [registration.cpp][run_register()]: ";
    EXPECT_EQ(log_text(), line + empty + line + manual + line + "[BUG] Empty key\n" + line +
                              "qx::json::object_set() failed\n");
}

TEST_F(Operations, CloudRegistration) {
    const auto request = [](const std::string& token, const std::string& mac,
                            const std::string& code) {
        return command("start_cloud_registration",
                       R"({"token": ")" + token +
                           R"(", "token_type": "partner", "register_mac_address": ")" + mac +
                           R"(", "redeem_code": ")" + code + "\"}");
    };
    const Outcome failed = {.status = 1, .err = "failed to register to cloud\n"};
    check({"register_to_cloud", "--params", "token=t,mac=m,redeem=r,token=u"},
          {request("u", "m", "r")});
    check({"register_to_cloud"}, {request("", "", "")});
    check({"register_to_cloud", "--params", "user=x,=y,mac=m"}, {request("", "m", "")},
          {.err = "Unknown key: user\nUnknown key: \n"});
    check({"register_to_cloud", "--params", "user=x,mac"}, {},
          {.status = 1, .err = "Unknown key: user\n"});
    check({"register_to_cloud", "--params", "token=\xff"}, {}, failed);
    answer("start_cloud_registration", failure("{}"));
    check({"register_to_cloud"}, {request("", "", "")}, failed);
}

TEST_F(Operations, Features) {
    const std::string list = "{\"type\": \"command\", \"name\": \"list_all_features\"}\n";
    const std::string get = command("get_feature", R"(["a", "", "a"])");
    const std::string set = command("set_feature", R"({"x": "", "": "n", "n": "5"})");
    const Words get_words = {"feature", "--get=a,,a", "--set=x=1", "--list"};
    const Words set_words = {"feature", "--set", "x=1,x=,=n,n=5", "--list"};
    answer("get_feature", success(R"({"a":"on"})"));
    check(get_words, {get}, {.out = "{\"a\": \"on\"}\n"});
    check(set_words, {set});
    answer("list_all_features", success(R"(["a"])"));
    check({"feature", "--list"}, {list}, {.out = "[\"a\"]\n"});
    check_refused({"feature", "--get=", "--set"}, {"", "a", "a=b=c", "a=\xff"});
    check_refused({"feature", "--get"}, {"\xff"});
    answer("get_feature", failure(R"({"code": 1})"));
    check(get_words, {get}, {.status = 1, .err = "Failed getting the features\n"});
    answer("set_feature", failure("{}"));
    check(set_words, {set}, {.status = 1, .err = "Failed setting the features\n"});
    answer("list_all_features", failure("{}"));
    check({"feature", "--list"}, {list},
          {.status = 1, .err = "Failed getting the features list\n"});
    EXPECT_EQ(log_text(),
              "ERROR [agent_features.cpp][run_set_feature()]: qx::json::object_set() failed\n");
}

TEST_F(Operations, NeedNoBrokerToMoveTheUpdateLocation) {
    const std::string staging = "{\"/quillet/update_location\": \"staging\"}\n";
    check({"set_quillet_location", "staging"}, {});
    EXPECT_EQ(read_file(kSettingsFile), staging);
    // The store cannot be written while a directory is in the place of its lock file.
    const fs::path lock = kSettingsFile.string() + ".lock";
    fs::remove(lock);
    fs::create_directory(lock);
    check({"set_quillet_location", "production"}, {}, {.status = 255});
    EXPECT_EQ(read_file(kSettingsFile), staging);
}

} // namespace
