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
/// The fault as a failing test shows it.
std::string text_of(const Fault& fault);

/// What is interrupted or done by halves is done again or to its end, except that a signal
/// interrupts a request to the broker.
bool is_made_up_for(const Fault& fault);

/// How a run ended that was to meet a fault. Only `outcome` and `fired` mean something when a
/// signal ended it.
struct FaultyRun {
    Outcome outcome;
    bool fired = false;                      ///< the call that was to meet the fault was made
    std::array<long, QX_CALL_COUNT> calls{}; ///< how often each was made
    std::multiset<std::size_t> live = {};    ///< sizes of the blocks still allocated
    int left_open = 0;                       ///< descriptors
};

using Variables = std::map<std::string, std::string>;

/// Lets `start_and_wait` run the tool in an environment under which the tool meets `fault`.
FaultyRun run_with_fault(const Fault& fault,
                         const std::function<Outcome(const Variables&)>& start_and_wait);
/// Runs the tool to its end with `words` after its name.
FaultyRun run_with_fault(const Fault& fault, const std::vector<std::string>& words);

/// Every fault of a single call that a run meets which makes the calls of `untouched`: all with
/// QX_FAULT_STEP=1, else every `quick`th, others for each `phase`.
std::vector<Fault> list_faults(const FaultyRun& untouched, unsigned quick, std::size_t phase = 0);

/// Expects that only a lack of memory ended the run with a signal, that only documented texts were
/// written, and that nothing was left allocated or open that `untouched` does not leave. Counts the
/// fault for the account at the program's end.
void check_end(const Fault& fault, const FaultyRun& run, const FaultyRun& untouched);

/// A change of a file, or a closed descriptor; `detail` is what was written, or the new name.
struct Change {
    std::string call;
    std::string path;
    std::string detail;
};

/// The changes that the tool makes when it runs, undisturbed, with `words` after its name.
std::vector<Change> changes_of_tool(const std::vector<std::string>& words);

} // namespace qx::test
