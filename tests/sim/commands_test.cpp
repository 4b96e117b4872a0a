#include "broker_client.h"

namespace {

using namespace qx::test;
using ::testing::EndsWith;
using ::testing::HasSubstr;

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

} // namespace
