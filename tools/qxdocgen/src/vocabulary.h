// The operations and options, as documents describe them.
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
    std::string value; ///< placeholder of the value; "" for a switch
    std::string help;
    bool required;
    std::string separator;       ///< between the elements of a list; "" for a single value
    std::vector<Choice> choices; ///< empty if any text is accepted
};

struct Operation {
    std::string name;
    std::string help;
    std::vector<Option> options;
};

/// Returns the names of all events.
std::vector<Choice> event_names();

/// Returns the operations that `command_line` has registered, with their options, in their order.
std::vector<Operation> read_vocabulary(const manage::CommandLine& command_line);

/// Shortens a help text to the part that fits beside a word in a menu.
std::string short_help(const std::string& help);

/// Joins the words of the choices.
std::string words_of(const std::vector<Choice>& choices, const char* separator);

/// Returns the words of the command line for a fuzzer's dictionary: quoted, one per line.
std::string dictionary_words(const std::vector<Operation>& operations);

} // namespace qx::docgen
