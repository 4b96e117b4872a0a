// Results of the measurements, and their targets.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qx::bench {

/// Returns the median of `values`, which must not be empty.
double median(std::vector<double> values);

/// A measured program.
struct Subject {
    std::string name;
    std::vector<std::string> request; ///< the command line that sends one command
    std::vector<std::string> listen;  ///< the command line of `listen`
    bool ends_on_signal;              ///< `listen` handles SIGTERM and exits with status 0
};

/// First the floor, which is a minimal program for comparison, then the builds of the tool.
using Subjects = std::vector<Subject>;

/// The limit for a value or ratio.
struct Target {
    bool at_most; ///< true: `limit` is a maximum; false: a minimum
    double limit;
};

/// The result of one build of the tool.
struct Cell {
    double value;
    std::optional<double> ratio; ///< the ratio of `value` to the floor's value
    std::optional<Target> target;

    [[nodiscard]] bool reached() const;
};

struct Row {
    std::string measure;
    std::string unit;
    int decimals; ///< decimal places of the values
    std::optional<double> floor;
    std::vector<std::optional<Cell>> builds; ///< in the order of the report's builds
};

struct Report {
    std::vector<std::string> notes;
    std::vector<std::string> builds; ///< the names of the builds
    std::vector<Row> rows;
};

/// The targets of one row: first for the ordinary build, then for the static build.
using Targets = std::vector<std::optional<Target>>;

/// Makes a row from values[subject][run], where subject 0 is the floor. A cell's value is the
/// median of all runs. With `ratios`, a cell also has a ratio: divide the value of each run by the
/// floor's value of the same run, and take the median. The targets apply to the ratio if there is
/// one, otherwise to the value.
Row make_row(std::string measure, std::string unit, int decimals,
             const std::vector<std::vector<double>>& values, bool ratios, const Targets& targets);

/// Returns the notes, then one Markdown table.
std::string to_markdown(const Report& report);

/// Returns the report as one JSON object.
std::string to_json(const Report& report);

} // namespace qx::bench
