// Measures `listen`: floods of events, and the stop. Every function ends the benchmark on failure.
#pragma once

#include "broker.h"
#include "report.h"

namespace qx::bench {

/// Returns rows about floods of events, from `runs` runs of each subject in turns.
std::vector<Row> measure_listening(const Broker& broker, const Subjects& subjects, int runs);

/// Returns a row about system calls, from one flood for each subject. Needs strace. `scratch` is
/// the name of a file that is overwritten.
Row count_calls_while_listening(const Broker& broker, const Subjects& subjects,
                                const std::string& scratch);

/// Returns a row about the time from SIGTERM to exit during `listen`.
Row measure_stop(const Broker& broker, const Subjects& subjects, int runs);

} // namespace qx::bench
