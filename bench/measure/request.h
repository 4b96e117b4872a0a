// One plain request, from start to exit.
#pragma once

#include "report.h"

namespace qx::bench {

/// Rows about wall time, processor time and peak memory, from `runs` runs of each subject in turns.
std::vector<Row> measure_requests(const Subjects& subjects, int runs);

/// Rows about system calls and instructions, from as many runs; needs strace and valgrind.
/// `scratch` is a file name that may be overwritten.
std::vector<Row> count_requests(const Subjects& subjects, int runs, const std::string& scratch);

} // namespace qx::bench
