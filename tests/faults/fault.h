// Runs of the tool in which one call meets a fault, through the library in preload/.
#pragma once

#include "preload/run.h"
#include "process.h"

#include <array>
#include <functional>
#include <set>

namespace qx::test {

inline const fs::path kSettingsDirectory = kSettingsFile.parent_path();
/// The file with which QX_FULL fills the disk.
inline const fs::path kFill = kSettingsDirectory / "fill";

using Fault = qx_fault;
inline constexpr Fault kNoFault{};

std::string name_of(qx_call call);
/// Returns the text that names the fault in a failing test.
std::string text_of(const Fault& fault);

/// Returns whether the tool must recover from the fault. The tool repeats interrupted calls and
/// completes partial ones, except that a signal interrupts a request to the broker.
bool is_made_up_for(const Fault& fault);

/// The end of a run with a fault. If a signal ended the run, only `outcome` and `fired` are valid.
struct FaultyRun {
    Outcome outcome;
    bool fired = false;                      ///< the run reached the call that has the fault
    std::array<long, QX_CALL_COUNT> calls{}; ///< how often each function was called
    std::multiset<std::size_t> live = {};    ///< sizes of the blocks still allocated
    int left_open = 0;                       ///< descriptors opened and not closed
};

using Variables = std::map<std::string, std::string>;

/// Calls `start_and_wait` with the environment in which the tool meets `fault`.
FaultyRun run_with_fault(const Fault& fault,
                         const std::function<Outcome(const Variables&)>& start_and_wait);
/// Runs the tool to its end with `words` after its name.
FaultyRun run_with_fault(const Fault& fault, const std::vector<std::string>& words);

/// Lists the faults of single calls that a run with the calls of `untouched` can meet: all of them
/// with QX_FAULT_STEP=1, else every `quick`th, beginning at a place that depends on `phase`.
std::vector<Fault> list_faults(const FaultyRun& untouched, unsigned quick, std::size_t phase = 0);

/// Expects that only a lack of memory ended the run with a signal, that the run wrote only
/// documented texts, that it left no descriptor open and that it leaked no memory that `untouched`
/// does not leak. Counts the fault for the account at the program's end.
void check_end(const Fault& fault, const FaultyRun& run, const FaultyRun& untouched);

/// A change of a file, or a closed descriptor; `detail` is the written text or the new name.
struct Change {
    std::string call;
    std::string path;
    std::string detail;
};

/// Returns the changes that the tool makes when it runs without a fault, with `words` after its
/// name.
std::vector<Change> changes_of_tool(const std::vector<std::string>& words);

} // namespace qx::test
