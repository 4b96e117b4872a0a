// Measures programs that send one plain request, from their start to their exit. Every function
// ends the benchmark on failure.
#pragma once

#include "report.h"

namespace qx::bench {

/// Measures wall time, processor time and peak memory. Runs the subjects alternately, `runs` times
/// each.
std::vector<Row> measure_requests(const Subjects& subjects, int runs);

/// Counts system calls, then instructions, in `runs` runs of each subject. Needs strace and
/// valgrind. Overwrites the file `scratch`.
std::vector<Row> count_requests(const Subjects& subjects, int runs, const std::string& scratch);

} // namespace qx::bench
