#include "options.h"

#include "failure.h"
#include "text.h"

#include <getopt.h>

namespace qx::sim {
namespace {

void check_rest(int argc, char** argv, const Options& options) {
    if (optind < argc) {
        throw Failure(concat({"surplus word '", argv[optind], "'"}));
    }
    if (options.install_dir.empty()) {
        throw Failure("--install-dir DIR is needed; --help tells more");
    }
}

} // namespace

const char* const kHelp =
    R"(usage: qxbrokerd-sim --install-dir DIR [--scenario FILE] [--trace] [--help]
       qxbrokerd-sim --version

A stand-in for the agent's broker. It creates and locks DIR/var/run/qxbrokerd.version,
listens on the broker's socket and replies to every command from a state that it
keeps in memory. It prints a line that begins with "listening" when clients can
connect. On SIGINT, SIGTERM, SIGHUP or SIGQUIT it removes its files and exits.

  --install-dir DIR  the agent's install directory; created if it does not exist
  --scenario FILE    a JSON file that changes the state, replies or events
  --trace            print each request, reply and event on standard output
  --help             print this text and exit
  --version          print version and commit, and exit

Orders on standard input, one per line:
  emit NAME TEXT         send TEXT as an event to every subscriber of NAME
  burst COUNT NAME TEXT  send TEXT COUNT times, with "%n" replaced by 1, 2, 3, ...
  raw NAME HEX           send bytes without a frame to every subscriber of NAME
  drop                   close every client's connection
  restart [MS]           disappear, and return after MS (default 100) milliseconds

Changes of the state send events: device_discovery for each report of a device
that is online, devices_list_updated when a device changes,
set_device_online_status_result after set_device_online_status, va_status_changed
when a scan starts, is stopped or finishes, subscription_changed when an update
finds a new subscription, cloud_registration_status after start_cloud_registration,
qxagent_started when the services are enabled after they were disabled.

Exit status: 0 ended by a signal, 1 an error, 3 ended by a scenario.
)";

Options parse_options(int argc, char** argv) {
    // Larger than every character: after an unknown option, optopt may be a character, which must
    // not equal one of these values.
    enum Known { install_dir = 256, scenario, trace, help, version };
    const option known[] = {{"install-dir", required_argument, nullptr, install_dir},
                            {"scenario", required_argument, nullptr, scenario},
                            {"trace", no_argument, nullptr, trace},
                            {"help", no_argument, nullptr, help},
                            {"version", no_argument, nullptr, version},
                            {nullptr, 0, nullptr, 0}};
    Options options;
    opterr = 0;
    for (;;) {
        const std::string_view word = optind < argc ? argv[optind] : "";
        // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread.
        switch (::getopt_long_only(argc, argv, "+:", known, nullptr)) {
        case install_dir:
            options.install_dir = optarg;
            break;
        case scenario:
            options.scenario = optarg;
            break;
        case trace:
            options.trace = true;
            break;
        case help:
            options.help = true;
            return options;
        case version:
            options.version = true;
            return options;
        case -1:
            check_rest(argc, argv, options);
            return options;
        case ':':
            throw Failure(concat({"'", word, "' needs a value"}));
        default:
            throw Failure(optopt == trace || optopt == help || optopt == version
                              ? concat({"'", word, "': the option takes no value"})
                              : concat({"unknown option '", word, "'; --help lists them"}));
        }
    }
}

} // namespace qx::sim
