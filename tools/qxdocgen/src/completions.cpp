#include "completions.h"

#include <algorithm>
#include <stdexcept>

namespace qx::docgen {
namespace {

/// An option whose values only the broker knows. The script runs the operation `command` and offers
/// each text that follows `key` in the result. `form` is the sed replacement that turns a text into
/// values.
struct Question {
    const char* option;
    const char* key;
    const char* form;
    const char* command;
};

constexpr const char* kDeviceId = "\"device_id\": ";
// The bracket or comma excludes the router's own name, with which the result begins.
constexpr const char* kInterfaceName = "[[,] *{\"name\": ";

constexpr Question kQuestions[] = {
    {"ids", kDeviceId, "&", "get_devices"},
    {"device_id", kDeviceId, "&", "get_devices"},
    {"get", "", "&", "feature --list"},
    {"set", "", "&=enabled\\n&=disabled", "feature --list"},
    {"interface", kInterfaceName, "&", "get_router_info"},
    {"interfaces", kInterfaceName, "&:wan\\n&:lan", "get_router_info"},
};

/// Values to offer for an option that also accepts other values.
struct Suggestion {
    const char* option;
    const char* words;
};

constexpr Suggestion kSuggestions[] = {
    {"on_day",
     "1\n2\n3\n4\n5\n6\n7\nmonday\ntuesday\nwednesday\nthursday\nfriday\nsaturday\nsunday"},
};

std::string with_help(const std::string& word, const std::string& help) {
    return word + "\t" + short_help(help);
}

void add_line(std::string& lines, const std::string& line) {
    lines += (lines.empty() ? "" : "\n") + line;
}

/// Returns a shell command that sets `values`, or "" if no values are known.
std::string values_command(const Option& option) {
    for (const Question& question : kQuestions) {
        if (option.name == question.option) {
            return "ask " + posix_quoted(question.key) + " " + posix_quoted(question.form) + " " +
                   question.command;
        }
    }
    for (const Suggestion& suggestion : kSuggestions) {
        if (option.name == suggestion.option) {
            return "values=" + posix_quoted(suggestion.words);
        }
    }
    std::string words;
    for (const Choice& choice : option.choices) {
        add_line(words, with_help(choice.word, choice.help));
    }
    return words.empty() ? "" : "values=" + posix_quoted(words);
}

/// Returns the `case` branch of an option or of an operation's argument.
std::string values_case(const Operation& operation, const Option& option) {
    const std::string command = values_command(option);
    if (command.empty()) {
        return "";
    }
    const std::string separator =
        option.separator.empty() ? "" : " separator=" + posix_quoted(option.separator);
    const std::string name = option.name.empty() ? operation.name : "--" + option.name;
    // Without the semicolon, the assignment to `separator` would apply to the command only.
    return "    " + name + ")" + separator + (separator.empty() ? " " : "; ") + command + " ;;";
}

/// Returns a line for each option, with its help.
std::string option_lines(const std::vector<Option>& options) {
    std::string lines;
    for (const Option& option : options) {
        if (!option.name.empty()) {
            add_line(lines, with_help("--" + option.name, option.help));
        }
    }
    return lines;
}

/// Returns the options of all operations, without duplicate names. Throws std::runtime_error if
/// options of the same name take different values.
std::vector<Option> all_options(const std::vector<Operation>& operations) {
    std::vector<Option> all;
    for (const Operation& operation : operations) {
        for (const Option& option : operation.options) {
            const auto same = std::find_if(all.begin(), all.end(), [&](const Option& other) {
                return other.name == option.name;
            });
            if (same == all.end()) {
                all.push_back(option);
            } else if (values_case(operation, *same) != values_case(operation, option)) {
                throw std::runtime_error("options --" + option.name + " take different values");
            }
        }
    }
    return all;
}

/// Returns a `case` pattern that matches the options for which `has_property` returns true.
std::string pattern(const std::vector<Option>& options, bool (*has_property)(const Option&)) {
    std::string names;
    for (const Option& option : options) {
        if (!option.name.empty() && has_property(option)) {
            names += (names.empty() ? "--" : "|--") + option.name;
        }
    }
    return names;
}

} // namespace

std::string posix_quoted(const std::string& text) {
    std::string result = "'";
    for (const char letter : text) {
        result += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return result + "'";
}

std::string fish_quoted(const std::string& text) {
    std::string result = "'";
    for (const char letter : text) {
        result += letter == '\'' || letter == '\\' ? "\\" : "";
        result += letter;
    }
    return result + "'";
}

std::map<std::string, std::string, std::less<>>
script_marks(const std::vector<Operation>& operations) {
    const std::vector<Option> all = all_options(operations);
    std::string names;
    std::string options = "    '') options=" + posix_quoted(option_lines(all)) + " ;;";
    std::string values;
    for (const Operation& operation : operations) {
        add_line(names, with_help(operation.name, operation.help));
        const std::string own = option_lines(operation.options);
        if (!own.empty()) {
            add_line(options, "    " + operation.name + ") options=" + posix_quoted(own) + " ;;");
        }
        for (const Option& option : operation.options) {
            const std::string line = values_case(operation, option);
            if (!line.empty() && values.find(line) == std::string::npos) {
                add_line(values, line);
            }
        }
    }
    return {
        {"SH_OPERATIONS", posix_quoted(names)},
        {"SH_OPTIONS", options},
        {"SH_VALUES", values},
        {"SH_LISTS", pattern(all, [](const Option& option) { return !option.separator.empty(); })},
        {"SH_SWITCHES", pattern(all, [](const Option& option) { return option.value.empty(); })},
    };
}

} // namespace qx::docgen
