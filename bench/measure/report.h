// The results of measurements and their targets.
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
    std::vector<std::string> request; ///< the command line of one plain request
    std::vector<std::string> listen;  ///< the command line of listening
    bool ends_on_signal;              ///< false: SIGTERM kills it; true: it ends with status 0
};

/// The floor, then the builds of the tool.
using Subjects = std::vector<Subject>;

/// The limit that a value or ratio must keep.
struct Target {
    bool at_most; ///< otherwise `limit` is a minimum
    double limit;
};

/// The result of one build of the tool.
struct Cell {
    double value;
    std::optional<double> ratio; ///< of the value to the value of the floor
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
    std::vector<std::string> builds; ///< names
    std::vector<Row> rows;
};

/// The targets of one row: for the ordinary build, then for the static build.
using Targets = std::vector<std::optional<Target>>;

/// Makes a row from values[subject][run]. Each cell gets the median of its values. With `ratios`,
/// each cell also gets the median of its ratios to the floor in the same run, and the targets apply
/// to this ratio; otherwise they apply to the value.
Row make_row(std::string measure, std::string unit, int decimals,
             const std::vector<std::vector<double>>& values, bool ratios, const Targets& targets);

/// Returns the notes, then one Markdown table.
std::string to_markdown(const Report& report);

/// Returns the report as one JSON object.
std::string to_json(const Report& report);

} // namespace qx::bench
