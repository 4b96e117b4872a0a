// What was measured, and how it stands to what is to be reached.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qx::bench {

/// The middle of the values, of which there is at least one.
double median(std::vector<double> values);

/// A program that is measured.
struct Subject {
    std::string name;
    std::vector<std::string> request; ///< the command line of one plain request
    std::vector<std::string> listen;  ///< the command line of listening
    bool ends_on_signal;              ///< SIGTERM ends it with status 0, instead of killing it
};

/// The floor, then the builds of the tool.
using Subjects = std::vector<Subject>;

/// What is to be reached.
struct Target {
    bool at_most; ///< else at least
    double limit;
};

/// What a build of the tool has reached.
struct Cell {
    double value;
    std::optional<double> ratio; ///< to the floor
    std::optional<Target> target;

    [[nodiscard]] bool reached() const;
};

struct Row {
    std::string measure;
    std::string unit;
    int decimals; ///< of values
    std::optional<double> floor;
    std::vector<std::optional<Cell>> builds; ///< in the order of the report's builds
};

struct Report {
    std::vector<std::string> notes;
    std::vector<std::string> builds; ///< names
    std::vector<Row> rows;
};

/// The targets of one row, one for each build: the ordinary one, the static one.
using Targets = std::vector<std::optional<Target>>;

/// A row from values[subject][run]: medians, and the medians of what each run's values are to the
/// floor's in the same run. With `ratios` the targets are about these, else about the values.
Row make_row(std::string measure, std::string unit, int decimals,
             const std::vector<std::vector<double>>& values, bool ratios, const Targets& targets);

/// The report as one Markdown table below its notes.
std::string to_markdown(const Report& report);

/// The report as one JSON object.
std::string to_json(const Report& report);

} // namespace qx::bench
