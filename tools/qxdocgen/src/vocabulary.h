// The operations and options of the tool, as documents and completions need them.
#pragma once

#include "command_line.h"

#include <string>
#include <vector>

namespace qx::docgen {

/// A word that an option accepts.
struct Choice {
    std::string word;
    std::string help; ///< "" if the word has no description
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

/// Returns the operations and options of `command_line`, in the order of registration.
std::vector<Operation> read_vocabulary(const manage::CommandLine& command_line);

/// Returns the first clause of a help text, so that it fits beside a word in a menu.
std::string short_help(const std::string& help);

/// Joins the words of the choices with `separator`.
std::string words_of(const std::vector<Choice>& choices, const char* separator);

/// Returns the words of the command line for a fuzzer's dictionary: quoted, one per line.
std::string dictionary_words(const std::vector<Operation>& operations);

} // namespace qx::docgen
