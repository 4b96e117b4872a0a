#include "completions.h"

namespace qx::docgen {
namespace {

/// `text` with a backslash before each character of `special`.
std::string escaped(const std::string& text, const char* special) {
    std::string result;
    for (const char letter : text) {
        if (std::string(special).find(letter) != std::string::npos) {
            result += '\\';
        }
        result += letter;
    }
    return result;
}

std::string posix_quoted(const std::string& text) {
    std::string result = "'";
    for (const char letter : text) {
        result += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return result + "'";
}

std::string fish_quoted(const std::string& text) {
    return "'" + escaped(text, "\\'") + "'";
}

std::string bash_case(const std::string& typed, const std::string& words,
                      const std::string& separator) {
    std::string line = "    " + posix_quoted(typed) + ") words=" + posix_quoted(words);
    if (!separator.empty()) {
        line += " separator=" + posix_quoted(separator);
    }
    return line + " ;;\n";
}

std::string zsh_value(const Option& option) {
    std::string argument = ":" + escaped(option.value, "\\:") + ":";
    if (option.choices.empty()) {
        return argument + " ";
    }
    const std::string words = words_of(option.choices, " ");
    if (!option.separator.empty()) {
        return argument + "_values -s " + option.separator + " " + option.name + " " + words;
    }
    if (option.choices.front().help.empty()) {
        return argument + "(" + words + ")";
    }
    argument += "((";
    for (const Choice& choice : option.choices) {
        argument += choice.word + "\\:" + escaped(choice.help, "\\:\" ()") + " ";
    }
    argument.back() = ')';
    return argument + ")";
}

std::string zsh_argument(const Option& option) {
    if (option.name.empty()) {
        return posix_quoted("1" + zsh_value(option));
    }
    const std::string help = "[" + escaped(short_help(option.help), "\\[]") + "]";
    if (option.value.empty()) {
        return posix_quoted("--" + option.name + help);
    }
    const char* const repeatable = option.separator.empty() ? "" : "*";
    return posix_quoted(repeatable + ("--" + option.name) + "=" + help + zsh_value(option));
}

std::string fish_option(const Operation& operation, const Option& option) {
    std::string line =
        "complete -c qxagent-manage -n '__fish_seen_subcommand_from " + operation.name + "'";
    if (!option.name.empty()) {
        line += " -l " + option.name + (option.value.empty() ? "" : " -x");
        line += " -d " + fish_quoted(short_help(option.help));
    }
    const std::string words = words_of(option.choices, " ");
    if (!words.empty() && !option.separator.empty()) {
        line += " -a '(__fish_append " + option.separator + " " + words + ")'";
    } else if (!words.empty()) {
        line += " -a '" + words + "'";
    }
    return line + "\n";
}

} // namespace

std::string bash_cases(const std::vector<Operation>& operations) {
    std::string names;
    std::string cases;
    for (const Operation& operation : operations) {
        names += (names.empty() ? "" : " ") + operation.name;
        std::string offered;
        std::string values;
        for (const Option& option : operation.options) {
            const std::string dashed = "--" + option.name;
            const std::string words = words_of(option.choices, " ");
            offered += offered.empty() ? "" : " ";
            offered += option.name.empty() ? words : dashed;
            if (!option.name.empty() && !words.empty()) {
                values += bash_case(operation.name + " " + dashed, words, option.separator);
            }
        }
        cases += offered.empty() ? "" : bash_case(operation.name, offered, "") + values;
    }
    cases.pop_back();
    return bash_case("", names, "") + cases;
}

std::string bash_switches(const std::vector<Operation>& operations) {
    std::string pattern;
    for (const Operation& operation : operations) {
        for (const Option& option : operation.options) {
            if (option.value.empty()) {
                pattern += (pattern.empty() ? "--" : "|--") + option.name;
            }
        }
    }
    return pattern;
}

std::string zsh_operations(const std::vector<Operation>& operations) {
    std::string lines;
    for (const Operation& operation : operations) {
        const std::string line = operation.name + ":" + short_help(operation.help);
        lines += (lines.empty() ? "    " : "\n    ") + posix_quoted(line);
    }
    return lines;
}

std::string zsh_cases(const std::vector<Operation>& operations) {
    std::string cases;
    for (const Operation& operation : operations) {
        if (operation.options.empty()) {
            continue;
        }
        cases += (cases.empty() ? "    " : "\n    ") + operation.name + ") arguments=(\n";
        for (const Option& option : operation.options) {
            cases += "        " + zsh_argument(option) + "\n";
        }
        cases += "    ) ;;";
    }
    return cases;
}

std::string fish_commands(const std::vector<Operation>& operations) {
    std::string lines;
    for (const Operation& operation : operations) {
        lines += "complete -c qxagent-manage -n __fish_use_subcommand -a " + operation.name +
                 " -d " + fish_quoted(short_help(operation.help)) + "\n";
        for (const Option& option : operation.options) {
            lines += fish_option(operation, option);
        }
    }
    lines.pop_back();
    return lines;
}

} // namespace qx::docgen
