// Measures one plain request, from start to exit. Every function ends the benchmark on failure.
#pragma once

#include "report.h"

namespace qx::bench {

/// Returns rows about wall time, processor time and peak memory, from `runs` runs of each subject
/// in turns.
std::vector<Row> measure_requests(const Subjects& subjects, int runs);

/// Returns rows about system calls and instructions, from `runs` runs of each subject. Needs strace
/// and valgrind. `scratch` is the name of a file that is overwritten.
std::vector<Row> count_requests(const Subjects& subjects, int runs, const std::string& scratch);

} // namespace qx::bench
