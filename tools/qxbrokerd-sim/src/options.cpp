#include "options.h"

#include "presence.h"
#include "text.h"

#include <getopt.h>

namespace qx::sim {

const char* const kHelp =
    R"(usage: qxbrokerd-sim --install-dir DIR [--scenario FILE] [--trace] [--help]

A stand-in for the agent's broker. It makes and locks DIR/var/run/qxbrokerd.version,
listens on the broker's socket and answers every command from a state that it keeps
in memory. It prints one line that begins with "listening" when clients can connect.
SIGINT and SIGTERM end it; what it made is then removed.

  --install-dir DIR  the agent's install directory; made when it does not exist
  --scenario FILE    a JSON file that changes the state, answers or events
  --trace            print each request, answer and event on standard output
  --help             print this text and end

Lines that it takes on standard input:
  emit NAME TEXT         send TEXT as an event to every subscriber of NAME
  burst COUNT NAME TEXT  send it COUNT times, "%n" replaced by 1, 2, 3, ...
  raw NAME HEX           send bytes to every subscriber of NAME as they stand
  drop                   close every client's connection
  restart [MS]           vanish, and be back after MS (100) milliseconds

Events come by themselves when the state changes: device_discovery for each report
of a device that is online, devices_list_updated when a device changes,
set_device_online_status_result after set_device_online_status, va_status_changed
when a scan starts, is stopped or finishes, subscription_changed when an update
finds a new subscription, cloud_registration_status after start_cloud_registration,
qxagent_started when the services are enabled after they were disabled.

Exit status: 0 ended by a signal, 1 an error, 3 told to die by a scenario.
)";

Options parse_options(int argc, char** argv) {
    const option known[] = {{"install-dir", required_argument, nullptr, 'i'},
                            {"scenario", required_argument, nullptr, 's'},
                            {"trace", no_argument, nullptr, 't'},
                            {"help", no_argument, nullptr, 'h'},
                            {nullptr, 0, nullptr, 0}};
    Options options;
    opterr = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread.
    for (int found = 0; (found = ::getopt_long(argc, argv, "+:", known, nullptr)) != -1;) {
        switch (found) {
        case 'i':
            options.install_dir = optarg;
            break;
        case 's':
            options.scenario = optarg;
            break;
        case 't':
            options.trace = true;
            break;
        case 'h':
            options.help = true;
            return options;
        case ':':
            throw Failure(concat({"'", argv[optind - 1], "' needs a value"}));
        default:
            throw Failure(concat({"unknown option '", argv[optind - 1], "'; --help lists them"}));
        }
    }
    if (optind < argc) {
        throw Failure(concat({"surplus word '", argv[optind], "'"}));
    }
    if (options.install_dir.empty()) {
        throw Failure("--install-dir DIR is needed; --help tells more");
    }
    return options;
}

} // namespace qx::sim
