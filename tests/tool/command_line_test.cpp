#include "command_line.h"

#include "words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace qx::manage {
namespace {

using test::parse_words;
using test::usage_text;
using testing::ElementsAre;

/// The options of each operation as they are registered: name, kind of value, "!" when required,
/// "?" when at most once.
std::map<std::string, std::string> vocabulary() {
    std::map<std::string, std::string> found;
    for (const cl::detail::option_base* option : cl::parser()->options()) {
        for (const string_view operation : option->sub_command_names()) {
            std::string& line = found[operation.to_string()];
            line += line.empty() ? "" : " ";
            line += option->is_positional() ? "" : option->names().front().to_string() + ":";
            line += option->value_description().to_string();
            line += option->list_separator().empty()
                        ? ""
                        : "[" + option->list_separator().to_string() + "]";
            line += option->is_required() ? "!" : option->limits().maximum == 1 ? "?" : "";
        }
    }
    return found;
}

TEST(Vocabulary, OptionsBelongToTheirOperations) {
    const CommandLine options;
    const std::map<std::string, std::string> expected = {
        {"listen", "events:list of events[,]"},
        {"register", "params:list[,]"},
        {"register_to_cloud", "params:list[,]"},
        {"set_registration_cloud", "cloud:production|staging|development!"},
        {"set_router_info",
         "name:router_name model:router_model serial_number:router_serial_number "
         "firmware_version:router_firmware_version feature_set_level:feature_set_level "
         "interfaces:list[,] use_va_cloud_trigger:boolean"},
        {"set_device_info", "device_id:device_id! name:device_name! traffic_blocked:integer"},
        {"set_device_online_status",
         "mac:mac_address! interface:device_interface! is_online:boolean! "
         "ip:list[,] hostname:device_hostname"},
        {"get_devices", "ids:list[,]"},
        {"va_set_schedule",
         "at:<hour>:<minute>! every_num:repeat_interval! every_unit:day|week|month! "
         "on_prefix:first|second|third|fourth|fifth|last on_day:string"},
        {"va_set_exclusions", "addresses:list of MAC addresses[,]"},
        {"feature", "set:list[,] get:list[,] list:?"},
        {"set_quillet_location", "production|staging!"},
    };
    EXPECT_EQ(vocabulary(), expected);
    EXPECT_EQ(cl::parser()->options().size(), 31U);
    for (const auto& [operation, line] : expected) {
        EXPECT_NE(options.operation.named_value(operation), nullptr) << operation;
    }
}

TEST(Vocabulary, EveryOperationIsItsWord) {
    const std::pair<Operation, const char*> known[] = {
        {Operation::listen, "listen"},
        {Operation::register_router, "register"},
        {Operation::get_router_info, "get_router_info"},
        {Operation::is_routerprotection_enabled, "is_routerprotection_enabled"},
        {Operation::set_device_info, "set_device_info"},
        {Operation::va_self_scan_start, "va_self_scan_start"},
        {Operation::reapply_firewall_rules, "reapply_firewall_rules"},
        {Operation::set_quillet_location, "set_quillet_location"},
        {Operation::help, "help"},
    };
    const CommandLine options;
    ASSERT_EQ(options.operation.value_list().size(), 33U);
    for (std::size_t i = 0; i < 33; ++i) {
        EXPECT_EQ(options.operation.value_list()[i].value, static_cast<std::int64_t>(i));
    }
    for (const auto& [operation, word] : known) {
        CommandLine chosen;
        EXPECT_TRUE(chosen.operation.handle(word, {})) << word;
        EXPECT_EQ(chosen.operation.value(), operation) << word;
    }
    EXPECT_EQ(static_cast<int>(Operation::help), 32);
    EXPECT_STREQ(deployment_name(static_cast<CloudDeployment>(1)), "staging");
    EXPECT_STREQ(deployment_name(static_cast<CloudDeployment>(2)), "development");
    EXPECT_STREQ(deployment_name(static_cast<CloudDeployment>(7)), "production");
}

TEST(CommandLine, AcceptedLinesReachTheirOptions) {
    {
        CommandLine options;
        EXPECT_EQ(parse_words({"--name", "Attic", "set_router_info", "-model=X=1",
                               "--serial_number", "--5", "--interfaces=br-wan:wan,br-lan:lan"}),
                  "");
        EXPECT_EQ(options.operation.value(), Operation::set_router_info);
        EXPECT_EQ(options.router_name, "Attic");
        EXPECT_EQ(options.model, "X=1");
        EXPECT_EQ(options.serial_number, "--5");
        EXPECT_THAT(options.interfaces, ElementsAre("br-wan:wan", "br-lan:lan"));
        EXPECT_FALSE(options.use_va_cloud_trigger.given());
        EXPECT_EQ(options.device_name, "");
    }
    {
        CommandLine options;
        EXPECT_EQ(parse_words({"--params=a=1,b=2", "--", "register_to_cloud"}), "");
        EXPECT_THAT(options.register_to_cloud_params, ElementsAre("a=1", "b=2"));
        EXPECT_TRUE(options.register_params.empty());
    }
    {
        CommandLine options;
        EXPECT_EQ(parse_words({"set_quillet_location", "staging"}), "");
        EXPECT_EQ(options.update_deployment.value(), CloudDeployment::staging);
    }
    CommandLine options;
    EXPECT_EQ(parse_words({"listen", "--events", "b,a,b", "--events="}), "");
    EXPECT_THAT(options.events, ElementsAre("a", "b"));
}

TEST(CommandLine, RejectedLinesGiveTheFirstReason) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, "(missing operation) no operation given"},
        {{"--model", "X"}, "(missing operation) no operation given"},
        {{"--model", "set_router_info"},
         "(missing operation) no operation given; 'set_router_info' is the value of '--model'"},
        {{""}, "(unknown operation) there is no operation ''"},
        {{"-"}, "(unknown operation) there is no operation '-'"},
        {{"is_enable", "--list=x"},
         "(unknown operation) there is no operation 'is_enable'; did you mean 'is_enabled'?"},
        {{"enablde", "help"},
         "(unknown operation) there is no operation 'enablde'; did you mean 'enable'?"},
        {{"--modle", "X", "set_router_info"},
         "(unknown option) set_router_info has no option '--modle'; did you mean '--model'?"},
        {{"--bogus", "set_router_info", "--modle"},
         "(unknown option) set_router_info has no option '--bogus'"},
        {{"--bogus", "--model", "X", "is_enabled"},
         "(unknown option) is_enabled has no option '--bogus'"},
        {{"--bogus", "whatever"}, "(unknown option) no operation has an option '--bogus'"},
        {{"--list", "x", "feature"}, "(unknown operation) there is no operation 'x'"},
        {{"get_devices", "--ip", "x"},
         "(unknown option) get_devices has no option '--ip'; it belongs to "
         "set_device_online_status"},
        {{"set_router_info", "--=x"}, "(unknown option) set_router_info has no option '--=x'"},
        {{"is_enabled", "--model", "X"},
         "(unknown option) is_enabled has no option '--model'; it belongs to set_router_info"},
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
        {{"feature", "--list="},
         "(surplus value) option '--list' of feature takes no value: '--list='"},
        {{"feature", "--list", "--list"},
         "(repeated option) option '--list' of feature may be given only once"},
        {{"set_device_info", "--name", "a", "--name=b"},
         "(repeated option) option '--name' of set_device_info may be given only once"},
        {{"set_registration_cloud", "--cloud", "stagin"},
         "(bad value) option '--cloud' of set_registration_cloud cannot be 'stagin'; did you mean "
         "'staging'?"},
        {{"set_quillet_location", "development"},
         "(bad value) the word of set_quillet_location cannot be 'development'; expected "
         "production, staging"},
        {{"set_device_info", "--traffic_blocked=12abc", "--bogus"},
         "(bad value) option '--traffic_blocked' of set_device_info cannot be '12abc'; expected "
         "integer"},
        {{"set_device_online_status", "--is_online", "TRUE"},
         "(bad value) option '--is_online' of set_device_online_status cannot be 'TRUE'; expected "
         "true, yes, 1, false, no, 0"},
        {{"set_device_info", "--name", "X"},
         "(missing option) set_device_info needs option '--device_id'"},
        {{"set_device_info", "x"}, "(surplus word) set_device_info takes no further word: 'x'"},
        {{"set_quillet_location"},
         "(missing word) set_quillet_location needs one of production, staging"},
    };
    for (const auto& [words, reason] : cases) {
        const CommandLine options;
        EXPECT_EQ(parse_words(words), reason);
        EXPECT_NE(options.operation.value(), Operation::help);
    }
}

TEST(CommandLine, HelpIsRecognisedAlsoWithSurplusWords) {
    const std::vector<std::string> lines[] = {
        {"help", "me"}, {"help", "--model"}, {"--bogus", "help"}, {"--model", "X", "help"}};
    for (const std::vector<std::string>& words : lines) {
        const CommandLine options;
        EXPECT_NE(parse_words(words), "") << words.front();
        EXPECT_EQ(options.operation.value(), Operation::help) << words.front();
    }
}

/// `text` with every run of blanks and line ends as one blank.
std::string squeezed(const std::string& text) {
    std::istringstream in(text);
    std::string out;
    for (std::string word; in >> word;) {
        out += out.empty() ? word : " " + word;
    }
    return out;
}

TEST(Usage, HoldsTheWholeVocabularyOnEightyColumns) {
    const CommandLine options;
    const std::string usage = usage_text();
    std::istringstream lines(usage);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
    const std::string text = squeezed(usage);
    const auto expect = [&text](const std::string& part) {
        EXPECT_NE(text.find(squeezed(part)), std::string::npos) << part;
    };
    for (const cl::detail::option_base* option : cl::parser()->options()) {
        const std::string help = option->description().to_string();
        expect(help + (option->is_required() && option != &options.operation ? " (required)" : ""));
        for (const string_view name : option->names()) {
            expect("--" + name.to_string() + " ");
        }
        for (const cl::detail::value_entry& word : option->value_list()) {
            expect(word.name.to_string() + " " + word.help.to_string());
        }
    }
    expect("set_device_info set up device information --device_id <device_id> id of the device "
           "(required)");
    expect("set_quillet_location switches between the staging and production update locations for "
           "Quillet <production|staging> the deployment to switch to (required)");
    expect("--at <hour>:<minute> hour and minute of the schedule (required)");
}

} // namespace
} // namespace qx::manage
