#include "agent_fixture.h"

namespace {

using namespace qx::test;

using Requests = std::vector<std::string>;

class Commands : public ::testing::Test {
protected:
    Requests take_requests() {
        Requests requests = broker.requests();
        broker.forget_requests();
        return requests;
    }

    TestBroker broker;
};

std::string described(const qx_plix_error_t& err) {
    return std::to_string(err.code) + " " + err.message + ": " + err.description;
}

TEST_F(Commands, FetchingOnesHandTheDataOver) {
    const struct {
        int (*call)(char**);
        const char* name;
        std::string data = "null";
    } calls[] = {
        {qx_plix_get_version_info, "get_version_info"},
        {qx_plix_get_features_list, "list_all_features", ""},
        {[](char** out) { return qx_plix_get_devices(nullptr, out); }, "get_devices"},
        {[](char** out) { return qx_plix_get_devices(R"({"a":1})", out); }, "get_devices",
         R"({"a": 1})"},
        {[](char** out) { return qx_plix_get_feature("[]", out); }, "get_feature", "[]"},
        {[](char** out) { return qx_plix_set_feature("{}", out); }, "set_feature", "{}"},
    };
    for (const auto& c : calls) {
        Text out;
        EXPECT_EQ(c.call(nullptr), -1) << c.name;
        EXPECT_EQ(c.call(out.out()), 0) << c.name;
        EXPECT_EQ(out.str(), "(none)");
        EXPECT_EQ(take_requests(), Requests{command(c.name, c.data)});
        broker.answer(c.name, success("\"x\""));
        EXPECT_EQ(c.call(out.out()), 0) << c.name;
        EXPECT_EQ(out.str(), "\"x\"");
        broker.answer(c.name, failure("{}"));
        EXPECT_EQ(c.call(out.out()), -1) << c.name;
        EXPECT_EQ(out.str(), "{}");
        broker.answer(c.name, kOk);
        broker.forget_requests();
    }
}

TEST_F(Commands, TextsThatAreNoDocumentsAreNeverSent) {
    for (const char* text : {static_cast<const char*>(nullptr), "", "1", "\"x\"", "{", "{} {}"}) {
        Text out;
        qx_plix_error_t err{};
        EXPECT_EQ(qx_plix_get_feature(text, out.out()), -1);
        EXPECT_EQ(qx_plix_set_feature(text, out.out()), -1);
        if (text != nullptr) {
            EXPECT_EQ(qx_plix_get_devices(text, out.out()), -1);
        }
        EXPECT_EQ(qx_plix_set_router_info(text), -1);
        EXPECT_EQ(qx_plix_set_device_info(text), -1);
        EXPECT_EQ(qx_plix_set_device_online_status(text), -1);
        EXPECT_EQ(qx_plix_remove_satellite(text), -1);
        EXPECT_EQ(qx_plix_va_set_schedule(text, nullptr), -1);
        EXPECT_EQ(qx_plix_va_set_exclusions(text, nullptr), -1);
        EXPECT_EQ(qx_plix_register(text, &err), -1);
        EXPECT_EQ(described(err), text == nullptr ? "1 invalid params: registration_info missing"
                                                  : "1 invalid params: invalid JSON format");
    }
    EXPECT_EQ(broker.requests(), Requests{});
}

TEST_F(Commands, StatusQueriesReadTheInnerStatus) {
    const struct {
        const char* data;
        int result;
        int status;
    } answers[] = {
        {R"({"status": 1})", 0, 1},          {R"({"status": 0})", 0, 0},
        {R"({"status": 4294967297})", 0, 1}, {R"({"status": "on"})", 0, 0},
        {R"({"status": -1})", -1, 99},       {R"({"status": 4294967295})", -1, 99},
        {R"({"state": 1})", -1, 99},         {"null", -1, 99},
    };
    const std::string name = "get_services_status";
    EXPECT_EQ(qx_plix_is_enabled(nullptr), -1);
    for (const auto& a : answers) {
        broker.answer(name, success(a.data));
        int status = 99;
        EXPECT_EQ(qx_plix_is_enabled(&status), a.result) << a.data;
        EXPECT_EQ(status, a.status) << a.data;
        EXPECT_EQ(take_requests(), Requests{command(name)});
    }
    int status = 99;
    for (const std::string& answer : {failure(R"({"status": 1})"), std::string(kOk)}) {
        broker.answer(name, answer);
        EXPECT_EQ(qx_plix_is_enabled(&status), -1);
    }
    EXPECT_EQ(status, 99);
}

TEST_F(Commands, RegisterTellsWhatTheBrokerFoundWrong) {
    const struct {
        std::string answer;
        int result;
        std::string error;
    } cases[] = {
        {R"({"status": 0, "data": {"code": 1}})", 0, "0 : "},
        {failure(R"({"code": 2, "description": "no key"})"), -1, "2 invalid JSON schema: no key"},
        {failure(R"({"code": 70, "description": "\u00e4", "x": 1})"), -1, "70 : \xc3\xa4"},
        {failure(R"({"code": 4294967296, "description": "x"})"), -1,
         "3 internal error: failed to process error"},
        {failure(R"({"code": -2147483649, "description": "x"})"), -1,
         "3 internal error: failed to process error"},
        {failure(R"({"code": 2})"), -1, "3 internal error: failed to process error"},
        {failure("\"x\""), -1, "3 internal error: failed to parse error"},
        {"garbage", -1, "3 internal error: no response from daemon"},
    };
    for (const auto& c : cases) {
        broker.answer("start_registration", c.answer);
        qx_plix_error_t err{};
        EXPECT_EQ(qx_plix_register(R"({"a": 1})", &err), c.result) << c.answer;
        EXPECT_EQ(described(err), c.error) << c.answer;
    }
    EXPECT_EQ(broker.requests()[0], command("start_registration", R"({"a": 1})"));
}

TEST_F(Commands, RouterInfoIsSetMemberByMember) {
    EXPECT_EQ(qx_plix_set_router_info(R"({"model": "M", "other": 1})"), 0);
    EXPECT_EQ(take_requests(), Requests{command("set_router_model", "\"M\"")});
    EXPECT_EQ(qx_plix_set_router_info("{}"), 0);
    EXPECT_EQ(qx_plix_set_router_info("[]"), 0);
    EXPECT_EQ(take_requests(), Requests{});
    broker.answer("set_router_name", failure("1"));
    EXPECT_EQ(qx_plix_set_router_info(
                  R"({"use_va_cloud_trigger": false, "interfaces": [{"a": 1}],
                      "feature_set_level": 2, "firmware_version": null, "serial_number": 1.5,
                      "model": {}, "name": "N"})"),
              -1);
    EXPECT_EQ(take_requests(),
              (Requests{command("set_router_name", "\"N\""), command("set_router_model", "{}"),
                        command("set_router_serial_number", "1.5"),
                        command("set_router_firmware_version"),
                        command("set_router_feature_set_level", "2"),
                        command("set_router_interfaces", R"([{"a": 1}])"),
                        command("set_va_cloud_trigger", "false")}));
}

TEST_F(Commands, RouterInfoIsEmptyWhenTheBrokerTellsNothing) {
    Text out;
    EXPECT_EQ(qx_plix_get_router_info(nullptr), -1);
    broker.stop();
    EXPECT_EQ(qx_plix_get_router_info(out.out()), 0);
    EXPECT_EQ(out.str(), "{}");
}

TEST_F(Commands, DeviceInfoIsSetPropertyByProperty) {
    EXPECT_EQ(qx_plix_set_device_info(R"({"name": "x", "traffic_blocked": true})"), -1);
    EXPECT_EQ(qx_plix_set_device_info("[]"), -1);
    EXPECT_EQ(qx_plix_set_device_info(R"({"device_id": "d"})"), 0);
    EXPECT_EQ(take_requests(), Requests{});
    broker.answer("set_device_name", failure("1"));
    EXPECT_EQ(qx_plix_set_device_info(R"({"traffic_blocked": false, "device_id": 7})"), 0);
    EXPECT_EQ(qx_plix_set_device_info(R"({"traffic_blocked": 1, "name": [], "device_id": "d"})"),
              -1);
    EXPECT_EQ(
        take_requests(),
        (Requests{
            command("set_device_traffic_blocked", R"({"device_id": 7, "traffic_blocked": false})"),
            command("set_device_name", R"({"device_id": "d", "name": []})"),
            command("set_device_traffic_blocked", R"({"device_id": "d", "traffic_blocked": 1})")}));
}

TEST_F(Commands, OnlineStatusIsCheckedBeforeItIsSent) {
    const std::string known = R"({"mac": "m", "interface": "i", )";
    const std::string online = known + R"("is_online": true, "ip": "1"})";
    const std::string offline = known + R"("is_online": false})";
    for (const std::string& good :
         {online, offline, std::string("[]"), "[" + std::string(online + ", " + offline) + "]",
          known + R"("is_online": true, "ip": []})", known + R"("is_online": false, "ip": 5})"}) {
        EXPECT_EQ(qx_plix_set_device_online_status(good.c_str()), 0) << good;
        EXPECT_EQ(take_requests(), Requests{command("set_device_online_status", good)});
    }
    for (const std::string& bad :
         {known + R"("is_online": true})", known + R"("is_online": true, "ip": 5})",
          known + R"("is_online": 1, "ip": "1"})", known + R"("ip": "1"})",
          std::string(R"({"mac": 1, "interface": "i", "is_online": false})"),
          std::string(R"({"mac": "m", "is_online": false})"), "[" + online + ", {}]",
          "[" + offline + ", 1]", "[[" + online + "]]"}) {
        EXPECT_EQ(qx_plix_set_device_online_status(bad.c_str()), -1) << bad;
    }
    EXPECT_EQ(take_requests(), Requests{});
}

TEST_F(Commands, RemovingASatelliteMayReturnTheBrokersCode) {
    for (const char* bad : {"[]", "{}", R"({"mac": 1})", R"([{"mac": "m"}])"}) {
        EXPECT_EQ(qx_plix_remove_satellite(bad), -1) << bad;
    }
    EXPECT_EQ(take_requests(), Requests{});
    const struct {
        std::string answer;
        int result;
    } cases[] = {
        {R"({"status": 0, "data": {"error": 1, "code": 5}})", 0},
        {failure(R"({"error": null, "code": 5})"), 5},
        {failure(R"({"error": "x", "code": 4294967298})"), 2},
        {failure(R"({"error": "x", "code": "5"})"), -1},
        {failure(R"({"code": 5})"), -1},
        {failure(R"({"error": 5})"), -1},
        {failure("5"), -1},
        {R"({"status": 1})", -1},
    };
    for (const auto& c : cases) {
        broker.answer("remove_satellite", c.answer);
        EXPECT_EQ(qx_plix_remove_satellite(R"({"mac":"m","x":1})"), c.result) << c.answer;
        EXPECT_EQ(take_requests(),
                  Requests{command("remove_satellite", R"({"mac": "m", "x": 1})")});
    }
}

TEST_F(Commands, AScheduleThatIsRefusedHasAReason) {
    const struct {
        const char* schedule;
        std::string answer;
        int result;
        std::string text;
    } cases[] = {
        {nullptr, "", -1, "wrong arguments"},
        {"{", "", -1, "string or '}' expected near end of file"},
        {"{}", R"({"status": 0, "data": {"x": 1}})", 0, R"({"x": 1})"},
        {"{}", failure(R"({"error": "on_day out of range"})"), -1, "on_day out of range"},
        {"{}", failure(R"({"error": 5})"), -1, "internal error"},
        {"{}", R"({"status": 1})", -1, "internal error"},
    };
    for (const auto& c : cases) {
        broker.answer("va_set_schedule", c.answer);
        Text text;
        EXPECT_EQ(qx_plix_va_set_schedule(c.schedule, text.out()), c.result) << c.answer;
        EXPECT_EQ(text.str(), c.text);
        EXPECT_EQ(qx_plix_va_set_schedule(c.schedule, nullptr), c.result) << c.answer;
    }
    broker.answer("va_set_schedule", kOk);
    char mine[] = "left alone";
    char* text = mine;
    EXPECT_EQ(qx_plix_va_set_schedule("{}", &text), 0);
    EXPECT_EQ(text, mine);
    EXPECT_EQ(broker.requests()[0], command("va_set_schedule", "{}"));
}

TEST_F(Commands, ExclusionsAreAnArray) {
    const struct {
        const char* exclusions;
        std::string answer;
        int result;
        std::string error;
    } cases[] = {
        {"[1", "", -1, "1 invalid params: ']' expected near end of file"},
        {"{}", "", -1, "1 invalid params: input is not a JSON array"},
        {"[1]", R"({"status": 0, "data": 1})", 0, "0 : "},
        {"[1]", failure("\"bad address\""), -1, "1 invalid params: \"bad address\""},
        {"[1]", R"({"status": 1})", -1, "3 internal error: failed to set the value"},
    };
    for (const auto& c : cases) {
        broker.answer("va_set_exclusions", c.answer);
        qx_plix_error_t err{};
        EXPECT_EQ(qx_plix_va_set_exclusions(c.exclusions, &err), c.result) << c.answer;
        EXPECT_EQ(described(err), c.error);
    }
    EXPECT_EQ(take_requests(), Requests(3, command("va_set_exclusions", "[1]")));

    qx_plix_error_t err{};
    EXPECT_EQ(qx_plix_va_get_exclusions(nullptr, &err), -1);
    EXPECT_EQ(described(err), "1 invalid params: output pointer is null");
    EXPECT_EQ(take_requests(), Requests{});
}

using StartedCommands = StartedClient;

TEST_F(StartedCommands, RegisteringToTheCloudNeedsAStartedLibrary) {
    EXPECT_EQ(qx_plix_register_to_cloud("t", "m", nullptr), 0);
    EXPECT_EQ(qx_plix_register_to_cloud("t", "m", ""), 0);
    EXPECT_EQ(qx_plix_register_to_cloud(nullptr, "m", "r"), -1);
    EXPECT_EQ(qx_plix_register_to_cloud("t", nullptr, "r"), -1);
    EXPECT_EQ(qx_plix_register_to_cloud("\xff", "m", "r"), -1);
    broker.answer("start_cloud_registration", failure("1"));
    EXPECT_EQ(qx_plix_register_to_cloud("t", "m", "r"), -1);
    qx_plix_uninit();
    EXPECT_EQ(qx_plix_register_to_cloud("t", "m", "r"), -1);
    const auto expected = [](const std::string& redeem_code) {
        return command("start_cloud_registration",
                       R"({"token": "t", "token_type": "partner", "register_mac_address": "m", )"
                       R"("redeem_code": ")" +
                           redeem_code + "\"}");
    };
    EXPECT_EQ(broker.requests(), (Requests{expected("m"), expected(""), expected("r")}));
}

} // namespace
