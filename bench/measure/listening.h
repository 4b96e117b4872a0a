// Listening: floods of events, and the stop.
#pragma once

#include "broker.h"
#include "report.h"

namespace qx::bench {

/// Rows about floods of events, from `runs` runs of each subject in turns.
std::vector<Row> measure_listening(const Broker& broker, const Subjects& subjects, int runs);

/// A row about system calls, from one flood for each subject; needs strace. `scratch` is a file
/// name that may be overwritten.
Row count_calls_while_listening(const Broker& broker, const Subjects& subjects,
                                const std::string& scratch);

/// A row about the time from SIGTERM to exit while listening.
Row measure_stop(const Broker& broker, const Subjects& subjects, int runs);

} // namespace qx::bench
