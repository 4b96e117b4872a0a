// Measures how `listen` handles floods of events and how fast it ends. Every function ends the
// benchmark on failure.
#pragma once

#include "broker.h"
#include "report.h"

namespace qx::bench {

/// Measures floods of events. Runs the subjects alternately, `runs` times each.
std::vector<Row> measure_listening(const Broker& broker, const Subjects& subjects, int runs);

/// Counts the system calls of each subject during one flood. Needs strace. Overwrites the file
/// `scratch`.
Row count_calls_while_listening(const Broker& broker, const Subjects& subjects,
                                const std::string& scratch);

/// Measures the time from SIGTERM to exit, `runs` times for each subject.
Row measure_stop(const Broker& broker, const Subjects& subjects, int runs);

} // namespace qx::bench
