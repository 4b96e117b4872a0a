#include "command_line.h"

namespace qx::manage {
namespace {

using cl::countlimits;
using cl::cut_at_separator;
using cl::desc;
using cl::listseparator;
using cl::subcommandname;
using cl::valuedesc;
using cl::valuelist_struct;
using cl::values;

constexpr cl::countlimits_struct kRequired{1, 1};
constexpr const char* kParamsHelp = "an array of key=value pairs; example: key1=value1,key2=value2";

valuelist_struct<Operation> operations() {
    return values<Operation>({
        {Operation::listen, "listen",
         "start the tool in listen mode, waiting for events and printing them to "
         "standard output"},
        {Operation::register_router, "register", "register router to Norvane Cloud"},
        {Operation::register_to_cloud, "register_to_cloud",
         "authenticate and register to Norvane Cloud"},
        {Operation::set_registration_cloud, "set_registration_cloud",
         "set registration cloud (to be used on the next registration)"},
        {Operation::set_router_info, "set_router_info", "set up router information"},
        {Operation::get_router_info, "get_router_info", "get router information"},
        {Operation::get_version_info, "get_version_info", "get version information"},
        {Operation::enable, "enable", "enable Norvane agent services"},
        {Operation::disable, "disable", "disable Norvane agent services"},
        {Operation::is_enabled, "is_enabled", "retrieve Norvane agent status"},
        {Operation::enable_routerprotection, "enable_routerprotection",
         "enable routerprotection service"},
        {Operation::disable_routerprotection, "disable_routerprotection",
         "disable routerprotection service"},
        {Operation::is_routerprotection_enabled, "is_routerprotection_enabled",
         "retrieve routerprotection status"},
        {Operation::get_subscription_status, "get_subscription_status",
         "get the subscription status"},
        {Operation::update_subscription_status, "update_subscription_status",
         "attempt to refresh subscription status"},
        {Operation::set_device_info, "set_device_info", "set up device information"},
        {Operation::set_device_online_status, "set_device_online_status",
         "set device online status"},
        {Operation::get_devices, "get_devices", "get list of devices discovered"},
        {Operation::va_start, "va_start", "trigger local VA network scan"},
        {Operation::va_stop, "va_stop", "cancel currently running VA network scan"},
        {Operation::va_status, "va_status", "check if VA is currently running a scan"},
        {Operation::va_self_scan_start, "va_self_scan_start",
         "start a VA scan of the router itself"},
        {Operation::va_set_schedule, "va_set_schedule", "set VA schedule"},
        {Operation::va_set_exclusions, "va_set_exclusions",
         "set a list of MAC addresses to be excluded from the VA scans"},
        {Operation::va_get_exclusions, "va_get_exclusions",
         "get the list of MAC addresses that are excluded from the VA scans"},
        {Operation::pro_features_enable, "pro_features_enable", "enable pro features"},
        {Operation::pro_features_disable, "pro_features_disable", "disable pro features"},
        {Operation::reapply_firewall_rules, "reapply_firewall_rules", "reapply firewall rules"},
        {Operation::feature, "feature", "manage agent features"},
        {Operation::get_diagnosis_report, "get_diagnosis_report",
         "get the diagnosis report for the Norvane agent"},
        {Operation::get_status_report, "get_status_report",
         "get the status report for the Norvane agent"},
        {Operation::set_quillet_location, "set_quillet_location",
         "switches between the staging and production update locations for Quillet"},
        {Operation::help, "help", "print usage information and exit"},
    });
}

valuelist_struct<CloudDeployment> locations() {
    return values<CloudDeployment>({
        {CloudDeployment::production, "production", "production environment"},
        {CloudDeployment::staging, "staging", "staging environment"},
    });
}

valuelist_struct<CloudDeployment> clouds() {
    valuelist_struct<CloudDeployment> words = locations();
    words.add_entry(CloudDeployment::development, "development", "development environment");
    return words;
}

} // namespace

CommandLine::CommandLine()
    : operation(valuedesc("operation"), desc("The operation to be performed:"), operations())
    , events("events", valuedesc("list of events"), subcommandname("listen"), listseparator(","),
             cut_at_separator,
             desc("a comma separated list of events to subscribe to (empty for all); "
                  "example: QX_PLIX_DEVICE_DISCOVERY,QX_PLIX_SUBSCRIPTION_CHANGED"))
    , register_params("params", valuedesc("list"), subcommandname("register"), listseparator(","),
                      cut_at_separator, desc(kParamsHelp))
    , register_to_cloud_params("params", valuedesc("list"), subcommandname("register_to_cloud"),
                               listseparator(","), cut_at_separator, desc(kParamsHelp))
    , cloud("cloud", valuedesc("production|staging|development"),
            subcommandname("set_registration_cloud"), kRequired, clouds(),
            desc("set the registration cloud"))
    , router_name("name", valuedesc("router_name"), subcommandname("set_router_info"),
                  desc("set the router name"))
    , model("model", valuedesc("router_model"), subcommandname("set_router_info"),
            desc("set the router model"))
    , serial_number("serial_number", valuedesc("router_serial_number"),
                    subcommandname("set_router_info"), desc("set the router serial number"))
    , firmware_version("firmware_version", valuedesc("router_firmware_version"),
                       subcommandname("set_router_info"), desc("set the router firmware version"))
    , feature_set_level("feature_set_level", valuedesc("feature_set_level"),
                        subcommandname("set_router_info"), desc("set the feature set level"))
    , interfaces("interfaces", valuedesc("list"), subcommandname("set_router_info"),
                 listseparator(","), cut_at_separator,
                 desc("a comma separated list of interface name and interface type pairs; "
                      "example: br-wan:wan,br-lan1:lan,br-lan2:lan"))
    , use_va_cloud_trigger("use_va_cloud_trigger", valuedesc("boolean"),
                           subcommandname("set_router_info"),
                           desc("accept cloud trigger VA scans or not"))
    , device_id("device_id", valuedesc("device_id"), subcommandname("set_device_info"), kRequired,
                desc("id of the device"))
    , device_name("name", valuedesc("device_name"), subcommandname("set_device_info"), kRequired,
                  desc("set the new name of the device"))
    , traffic_blocked("traffic_blocked", valuedesc("integer"), subcommandname("set_device_info"),
                      desc("the new traffic_blocked status of the device"))
    , mac("mac", valuedesc("mac_address"), subcommandname("set_device_online_status"), kRequired,
          desc("the MAC of the device"))
    , interface("interface", valuedesc("device_interface"),
                subcommandname("set_device_online_status"), kRequired,
                desc("set the name of the interface on which the device was discovered."))
    , is_online("is_online", valuedesc("boolean"), subcommandname("set_device_online_status"),
                kRequired, desc("set status of the device"))
    , ip("ip", valuedesc("list"), subcommandname("set_device_online_status"), listseparator(","),
         cut_at_separator,
         desc("the IP or a list of IPs (allows both IPv4 and IPv6) for the device. "
              "It should only be sent when is_online=true"))
    , hostname("hostname", valuedesc("device_hostname"), subcommandname("set_device_online_status"),
               desc("hostname of the device if found in the ARP table"))
    , ids("ids", valuedesc("list"), subcommandname("get_devices"), listseparator(","),
          cut_at_separator, desc("an array of device ids; example: id1,id2,id3"))
    , at("at", valuedesc("<hour>:<minute>"), subcommandname("va_set_schedule"), kRequired,
         desc("hour and minute of the schedule"))
    , every_num("every_num", valuedesc("repeat_interval"), subcommandname("va_set_schedule"),
                kRequired,
                desc("the number of recurrence unit that must pass for the schedule to be "
                     "run again"))
    , every_unit("every_unit", valuedesc("day|week|month"), subcommandname("va_set_schedule"),
                 kRequired, desc("for daily, weekly, and monthly recurrence"))
    , on_prefix("on_prefix", valuedesc("first|second|third|fourth|fifth|last"),
                subcommandname("va_set_schedule"),
                desc("for monthly recurrence; 'last' can mean 'fourth' or 'fifth' "
                     "depending on month'.\n"
                     "It is a prefix for 'on_day' and can be used to construct schedules "
                     "such as 'first Monday of each month'"))
    , on_day("on_day", valuedesc("string"), subcommandname("va_set_schedule"),
             desc("for weekly recurrence, can have a value of 1 through 7 or 'monday' "
                  "to 'sunday'.\n"
                  "For monthly recurrence, can have a value of 1 to 31 or 'monday' to "
                  "'sunday'"))
    , addresses("addresses", valuedesc("list of MAC addresses"),
                subcommandname("va_set_exclusions"), listseparator(","), cut_at_separator,
                desc("A comma separated list of MAC addresses. Each group of two nibbles "
                     "in the address, i.e. half-bytes, must be separated by ':'. To "
                     "specify a range for the characters in a given nibble, use the \"[]\" "
                     "array-style separated by '|'. Each item in the array must be either "
                     "a single character or an interval in the 0-9, A-F, a-f format. "
                     "Uppercase and lowercase formats used in conjunction are allowed but "
                     "not mandatory, i.e. setting a single case is enough for the match to "
                     "be successful. Overlapping values or intervals inside the array are "
                     "not allowed (the overlapping detection algorithm is case "
                     "insensitive)."))
    , set_features("set", valuedesc("list"), subcommandname("feature"), listseparator(","),
                   cut_at_separator, desc("an array of feature=status pairs"))
    , get_features("get", valuedesc("list"), subcommandname("feature"), listseparator(","),
                   cut_at_separator, desc("a list of feature names to query"))
    , list_features("list", subcommandname("feature"), countlimits(0, 1),
                    desc("list all available features"))
    , update_deployment(valuedesc("production|staging"), subcommandname("set_quillet_location"),
                        kRequired, locations(), desc("the deployment to switch to")) {}

} // namespace qx::manage
