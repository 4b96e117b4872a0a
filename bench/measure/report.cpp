#include "report.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace qx::bench {
namespace {

constexpr int kRatioDecimals = 2;

std::string number(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string with_unit(double value, const Row& row) {
    return number(value, row.decimals) + (row.unit.empty() ? "" : " " + row.unit);
}

std::string words(const Target& target) {
    char text[64];
    std::snprintf(text, sizeof text, "%s %g", target.at_most ? "≤" : "≥", target.limit);
    return text;
}

std::string mark(const Cell& cell) {
    if (!cell.target) {
        return "";
    }
    return words(*cell.target) + (cell.reached() ? " ✓" : " ✗");
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            result += '\\';
        }
        result += character;
    }
    return result + '"';
}

std::string to_json(const Cell& cell, const std::string& build, int decimals) {
    std::string text =
        "{\"build\": " + quoted(build) + ", \"value\": " + number(cell.value, decimals);
    if (cell.ratio) {
        text += ", \"ratio\": " + number(*cell.ratio, 3);
    }
    if (cell.target) {
        text += std::string(", \"") + (cell.target->at_most ? "at_most" : "at_least") +
                "\": " + number(cell.target->limit, kRatioDecimals) +
                ", \"reached\": " + (cell.reached() ? "true" : "false");
    }
    return text + "}";
}

std::string to_json(const Row& row, const std::vector<std::string>& builds) {
    std::string text = "{\"measure\": " + quoted(row.measure) + ", \"unit\": " + quoted(row.unit);
    if (row.floor) {
        text += ", \"floor\": " + number(*row.floor, row.decimals);
    }
    text += ", \"builds\": [";
    const char* separator = "";
    for (std::size_t i = 0; i < row.builds.size(); ++i) {
        if (row.builds[i]) {
            text += separator + to_json(*row.builds[i], builds[i], row.decimals);
            separator = ", ";
        }
    }
    return text + "]}";
}

} // namespace

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

bool Cell::reached() const {
    const double actual = ratio.value_or(value);
    return !target || (target->at_most ? actual <= target->limit : actual >= target->limit);
}

Row make_row(std::string measure, std::string unit, int decimals,
             const std::vector<std::vector<double>>& values, bool ratios, const Targets& targets) {
    const std::vector<double>& floor = values.front();
    Row row{std::move(measure), std::move(unit), decimals, median(floor), {}};
    for (std::size_t subject = 1; subject < values.size(); ++subject) {
        Cell cell{median(values[subject]), std::nullopt, std::nullopt};
        if (ratios) {
            std::vector<double> each;
            for (std::size_t run = 0; run < floor.size(); ++run) {
                each.push_back(values[subject][run] / floor[run]);
            }
            cell.ratio = median(each);
        }
        if (subject - 1 < targets.size()) {
            cell.target = targets[subject - 1];
        }
        row.builds.emplace_back(cell);
    }
    return row;
}

std::string to_markdown(const Report& report) {
    std::string text;
    for (const std::string& note : report.notes) {
        text += note + "\n";
    }
    text += "\n| measure | floor |";
    std::string line = "\n|---|--:|";
    for (const std::string& build : report.builds) {
        text += " " + build + " | ratio | target |";
        line += "--:|--:|---|";
    }
    text += line + "\n";
    for (const Row& row : report.rows) {
        text += "| " + row.measure + " | " + (row.floor ? with_unit(*row.floor, row) : "") + " |";
        for (const std::optional<Cell>& cell : row.builds) {
            text += cell ? " " + with_unit(cell->value, row) + " | " +
                               (cell->ratio ? number(*cell->ratio, kRatioDecimals) : "") + " | " +
                               mark(*cell) + " |"
                         : " | | |";
        }
        text += "\n";
    }
    return text;
}

std::string to_json(const Report& report) {
    std::string text = "{\"notes\": [";
    for (std::size_t i = 0; i < report.notes.size(); ++i) {
        text += (i == 0 ? "" : ", ") + quoted(report.notes[i]);
    }
    text += "], \"rows\": [\n";
    for (std::size_t i = 0; i < report.rows.size(); ++i) {
        text += (i == 0 ? "" : ",\n") + to_json(report.rows[i], report.builds);
    }
    return text + "\n]}\n";
}

} // namespace qx::bench
