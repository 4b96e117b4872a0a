// Runs of the tool in which one call fails, through the library in preload/.
#pragma once

#include "process.h"

namespace qx::test {

/// Where the library notes the changes of files, when a run is asked for them.
inline const fs::path kJournal = "/opt/journal";

/// The file with which the action "full" fills the disk.
inline const fs::path kFill = kInstallDir / "etc/fill";

/// The call number `at` of a function meets `action`.
struct Fault {
    std::string call;
    long at;
    std::string action;

    [[nodiscard]] std::string text() const {
        return call + ":" + std::to_string(at) + ":" + action;
    }
    /// What is interrupted or done by halves is done again or to its end, except that a signal
    /// interrupts a request to the broker.
    [[nodiscard]] bool is_made_up_for() const;
};

/// How a run with a fault ended.
struct FaultyRun {
    Outcome outcome;
    bool fired = false;                ///< the call that was to fail was made
    std::map<std::string, long> calls; ///< how often each was made; these only mean something when
    std::map<std::string, int> live;   ///< no signal ended the run: blocks still allocated, by size
    std::vector<std::string> open;     ///< descriptors still open
};

/// A function that fails, and how; "alloc" stands for those that allocate.
struct Call {
    const char* name;
    std::vector<int> errors;
    bool can_be_short = false;
};
extern const std::vector<Call> kCalls;

/// The faults that a run meets which makes the calls of `untouched`: all with QX_FAULT_STEP=1, else
/// every `quick`th, others for each `phase`.
std::vector<Fault> list_faults(const FaultyRun& untouched, unsigned quick, std::size_t phase = 0);

/// The environment under which the tool meets `fault` ("" for none).
std::map<std::string, std::string> fault_environment(const std::string& fault);

/// What the library has reported of the run with this outcome. A failed expectation when it has
/// not, although no signal ended the run.
FaultyRun read_report(const Outcome& outcome);

/// Runs the tool to its end under `fault`.
FaultyRun run_tool_with_fault(const std::vector<std::string>& words, const std::string& fault);

/// Expects that only a lack of memory ended the run with a signal, that only documented texts were
/// written, and that nothing was left allocated or open that `untouched` does not leave. Counts the
/// fault for the account at the program's end.
void check_end(const Fault& fault, const FaultyRun& run, const FaultyRun& untouched);

} // namespace qx::test
