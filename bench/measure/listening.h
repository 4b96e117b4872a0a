// Listening: floods of events, and the stop.
#pragma once

#include "broker.h"
#include "report.h"

namespace qx::bench {

/// Rows about floods of events, from `runs` runs of each subject in turns.
std::vector<Row> measure_listening(const Broker& broker, const Subjects& subjects, int runs);

/// A row about the time from SIGTERM to exit while listening.
Row measure_stop(const Broker& broker, const Subjects& subjects, int runs);

} // namespace qx::bench
