#include "command_line.h"

#include "words.h"

#include <gmock/gmock.h>

namespace qx::manage {
namespace {

using test::parse_words;
using testing::ElementsAre;

TEST(CommandLine, AcceptedLinesReachTheirOptions) {
    {
        CommandLine options;
        EXPECT_EQ(parse_words({"--name", "Attic", "set_router_info", "-model=X=1",
                               "--serial_number", "--5", "--interfaces=br-wan:wan,br-lan:lan"}),
                  "");
        EXPECT_EQ(options.operation.value(), Operation::set_router_info);
        EXPECT_EQ(options.router.name, "Attic");
        EXPECT_EQ(options.router.model, "X=1");
        EXPECT_EQ(options.router.serial_number, "--5");
        EXPECT_THAT(options.router.interfaces, ElementsAre("br-wan:wan", "br-lan:lan"));
        EXPECT_FALSE(options.router.use_va_cloud_trigger.given());
        EXPECT_EQ(options.device.name, "");
    }
    {
        CommandLine options;
        EXPECT_EQ(parse_words({"--params=a=1,b=2", "--", "register_to_cloud"}), "");
        EXPECT_THAT(options.register_to_cloud.params, ElementsAre("a=1", "b=2"));
        EXPECT_TRUE(options.register_router.params.empty());
    }
    CommandLine options;
    EXPECT_EQ(parse_words({"listen", "--events", "b,a,b", "--events="}), "");
    EXPECT_THAT(options.listen.events, ElementsAre("a", "b"));
}

TEST(CommandLine, RejectedLinesGiveTheFirstReason) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"--model", "X"}, "(missing operation) no operation given"},
        {{"--model", "set_router_info"},
         "(missing operation) no operation given; 'set_router_info' is the value of '--model'"},
        {{""}, "(unknown operation) there is no operation ''"},
        {{"-"}, "(unknown operation) there is no operation '-'"},
        {{"is_enable", "--list=x"},
         "(unknown operation) there is no operation 'is_enable'; did you mean 'is_enabled'?"},
        {{"GET_DEVICES"},
         "(unknown operation) there is no operation 'GET_DEVICES'; did you mean 'get_devices'?"},
        {{"get_version"},
         "(unknown operation) there is no operation 'get_version'; did you mean "
         "'get_version_info'?"},
        {{"set_exclusions"},
         "(unknown operation) there is no operation 'set_exclusions'; did you mean "
         "'va_set_exclusions'?"},
        {{"status"}, "(unknown operation) there is no operation 'status'"},
        {{"set_device_info", "--TRAFFIC=1"},
         "(unknown option) set_device_info has no option '--TRAFFIC'; did you mean "
         "'--traffic_blocked'?"},
        {{"--modle", "X", "set_router_info"},
         "(unknown option) set_router_info has no option '--modle'; did you mean '--model'?"},
        {{"--bogus", "set_router_info", "--modle"},
         "(unknown option) set_router_info has no option '--bogus'"},
        {{"--bogus", "whatever"}, "(unknown option) no operation has an option '--bogus'"},
        {{"--list", "x", "feature"}, "(unknown operation) there is no operation 'x'"},
        {{"set_router_info", "--=x"}, "(unknown option) set_router_info has no option '--=x'"},
        {{"is_enabled", "--params", "X"},
         "(unknown option) is_enabled has no option '--params'; it belongs to register and "
         "register_to_cloud"},
        {{"set_router_info", "--interface", "a:b"},
         "(unknown option) set_router_info has no option '--interface'; did you mean "
         "'--interfaces'?"},
        {{"listen", "--help"},
         "(unknown option) listen has no option '--help'; did you mean 'help'?"},
        {{"set_router_info", "--model"},
         "(missing value) option '--model' of set_router_info needs a value"},
        {{"set_router_info", "--model", "--name", "X"},
         "(surplus word) set_router_info takes no further word: 'X'; '--name' before it is the "
         "value of '--model'"},
        {{"set_router_info", "model=X"},
         "(surplus word) set_router_info takes no further word: 'model=X'; did you mean "
         "'--model'?"},
        {{"is_enabled", "--", "--model"},
         "(surplus word) is_enabled takes no further word: '--model'"},
        {{"set_quillet_location", "staging", "staging"},
         "(surplus word) set_quillet_location takes no further word: 'staging'"},
        {{"feature", "--list=x"},
         "(surplus value) option '--list' of feature takes no value: '--list=x'"},
        {{"set_device_info", "--name", "a", "--name=b"},
         "(repeated option) option '--name' of set_device_info may be given only once"},
        {{"set_registration_cloud", "--cloud", "stagin"},
         "(bad value) option '--cloud' of set_registration_cloud cannot be 'stagin'; did you mean "
         "'staging'?"},
        {{"set_quillet_location", "development"},
         "(bad value) the word of set_quillet_location cannot be 'development'; expected "
         "production, staging"},
        {{"set_device_info", "--traffic_blocked=08", "--bogus"},
         "(bad value) option '--traffic_blocked' of set_device_info cannot be '08'; expected "
         "an integer"},
        {{"set_device_online_status", "--is_online", "maybe"},
         "(bad value) option '--is_online' of set_device_online_status cannot be 'maybe'; expected "
         "true, yes, 1, false, no, 0"},
        {{"set_device_info", "--name", "X"},
         "(missing option) set_device_info needs option '--device_id'"},
        {{"set_quillet_location"},
         "(missing word) set_quillet_location needs one of production, staging"},
    };
    for (const auto& [words, reason] : cases) {
        const CommandLine options;
        EXPECT_EQ(parse_words(words), reason);
        EXPECT_NE(options.operation.value(), Operation::help);
    }
}

} // namespace
} // namespace qx::manage
