// Runs the tool with the library in preload/, which injects a fault into one call.
#pragma once

#include "preload/run.h"
#include "process.h"

#include <array>
#include <functional>
#include <set>

namespace qx::test {

inline const fs::path kSettingsDirectory = kSettingsFile.parent_path();
/// The file that QX_FULL writes to fill the disk.
inline const fs::path kFill = kSettingsDirectory / "fill";

using Fault = qx_fault;
inline constexpr Fault kNoFault{};

/// Returns the name of `call` for failure messages.
std::string name_of(qx_call call);
/// Returns a description of `fault` for failure messages.
std::string text_of(const Fault& fault);

/// Returns whether the tool must succeed despite the fault. The tool completes short reads and
/// writes, and retries interrupted calls except send and recv.
bool is_made_up_for(const Fault& fault);

/// The result of a run with a fault. If a signal ended the run, only `outcome` and `fired` are
/// valid.
struct FaultyRun {
    Outcome outcome;
    bool fired = false;                      ///< whether the run reached the faulty call
    std::array<long, QX_CALL_COUNT> calls{}; ///< number of calls of each function
    std::multiset<std::size_t> live = {};    ///< sizes of the blocks still allocated
    int left_open = 0;                       ///< descriptors opened and not closed
};

using Variables = std::map<std::string, std::string>;

/// Calls `start_and_wait` with the environment that injects `fault` into the tool.
FaultyRun run_with_fault(const Fault& fault,
                         const std::function<Outcome(const Variables&)>& start_and_wait);
/// Runs the tool to its end with the arguments `words`.
FaultyRun run_with_fault(const Fault& fault, const std::vector<std::string>& words);

/// Returns a sample of the errors and short transfers that can be injected into a run: one in every
/// fault_step(quick). A different `phase` selects other faults. `untouched` is the same run without
/// a fault.
std::vector<Fault> list_faults(const FaultyRun& untouched, unsigned quick, std::size_t phase = 0);

/// Checks a run with a fault. Only a failed allocation may abort the tool. Standard error may hold
/// only documented texts. No descriptor may stay open, and no memory may leak that `untouched` does
/// not leak. When the test program ends, it prints how many faults occurred.
void check_end(const Fault& fault, const FaultyRun& run, const FaultyRun& untouched);

/// A system call that changes a file or closes a descriptor. `detail` is the written text or the
/// new name.
struct Change {
    std::string call;
    std::string path;
    std::string detail;
};

/// Runs the tool with the arguments `words` and without a fault. Returns the tool's changes in
/// order.
std::vector<Change> changes_of_tool(const std::vector<std::string>& words);

} // namespace qx::test
