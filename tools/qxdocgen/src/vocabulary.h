// The command line as its documents show it.
#pragma once

#include "command_line.h"

#include <string>
#include <vector>

namespace qx::docgen {

/// A word that an option accepts.
struct Choice {
    std::string word;
    std::string help; ///< or ""
};

struct Option {
    std::string name;  ///< without dashes; "" for a positional argument
    std::string value; ///< what stands for the value; "" for a switch
    std::string help;
    bool required;
    std::string separator;       ///< between the elements of a list; "" for a single value
    std::vector<Choice> choices; ///< empty when any text is accepted
};

struct Operation {
    std::string name;
    std::string help;
    std::vector<Option> options;
};

/// The names of all events.
std::vector<Choice> event_names();

/// The operations that `command_line` has registered, with their options, in their order.
std::vector<Operation> read_vocabulary(const manage::CommandLine& command_line);

/// The part of a help text that fits beside a word in a menu.
std::string short_help(const std::string& help);

/// The words of the choices, joined.
std::string words_of(const std::vector<Choice>& choices, const char* separator);

/// Every word of the command line, quoted, one per line: for a fuzzer's dictionary.
std::string dictionary_words(const std::vector<Operation>& operations);

} // namespace qx::docgen
