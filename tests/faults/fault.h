// Runs of the tool in which one call fails, through the library in preload/.
#pragma once

#include "process.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace qx::test {

/// Where the library notes the changes of files, when a run is asked for them.
inline const std::filesystem::path kJournal = "/opt/journal";

/// How a run with a fault ended.
struct FaultyRun {
    Outcome outcome;
    bool fired = false;              ///< the call that was to fail was made
    bool ended = false;              ///< normally, so that the two below mean something
    std::map<std::string, int> live; ///< blocks still allocated at the end, by size
    std::vector<std::string> open;   ///< descriptors still open at the end
};

/// The environment under which the tool meets `fault` ("CALL:N:ACTION", or "" for none).
std::map<std::string, std::string> fault_environment(const std::string& fault);

/// What the library has reported of the run with this outcome.
FaultyRun read_report(const Outcome& outcome);

/// Runs the tool to its end under `fault`.
FaultyRun run_tool_with_fault(const std::vector<std::string>& words, const std::string& fault);

/// Counts faults that were tried, for the account at the program's end.
void count_faults(long allocations, long calls);

/// How many faults are passed over between two that are tried: 1 with QX_FAULT_STEP=1, else enough
/// for a quick run.
long fault_step(long quick);

} // namespace qx::test
