#include "vocabulary.h"

#include "qx_plix.h"

#include <algorithm>
#include <set>
#include <utility>

namespace qx::docgen {
namespace {

// The broker, not the tool, checks the values of some options. The value description of such an
// option lists the valid words.
std::vector<Choice> alternatives(string_view value_description) {
    std::vector<Choice> found;
    for (const string_view word : value_description.split("|")) {
        found.push_back({word.to_string(), ""});
    }
    return found.size() > 1 ? found : std::vector<Choice>();
}

// The parameter is `auto` because the class of the registered options is private to the parser.
std::vector<Choice> choices_of(const auto& option, const manage::CommandLine& command_line) {
    if (&option == &command_line.listen.events) {
        return event_names();
    }
    std::vector<Choice> choices;
    for (const auto& entry : option.value_list()) {
        choices.push_back({entry.name.to_string(), entry.help.to_string()});
    }
    if (!choices.empty()) {
        return choices;
    }
    for (const string_view word : option.accepted_words()) {
        choices.push_back({word.to_string(), ""});
    }
    return choices.empty() ? alternatives(option.value_description()) : choices;
}

Option read_option(auto& option, const manage::CommandLine& command_line) {
    const bool has_value = option.is_positional() || option.needs_param();
    return {
        .name = option.is_positional() ? "" : option.names().front().to_string(),
        .value = has_value ? option.value_description().to_string() : "",
        .help = option.description().to_string(),
        .required = option.is_required(),
        .separator = option.list_separator().to_string(),
        .choices = has_value ? choices_of(option, command_line) : std::vector<Choice>(),
    };
}

} // namespace

std::vector<Choice> event_names() {
    std::vector<Choice> names;
    names.reserve(QX_PLIX_EVENT_UNKNOWN);
    for (int type = 0; type < QX_PLIX_EVENT_UNKNOWN; ++type) {
        names.push_back({qx_plix_event_type_to_str(static_cast<qx_plix_event_type>(type)), ""});
    }
    return names;
}

std::vector<Operation> read_vocabulary(const manage::CommandLine& command_line) {
    std::vector<Operation> operations;
    for (const auto& word : command_line.operation.value_list()) {
        Operation operation{word.name.to_string(), word.help.to_string(), {}};
        for (auto* const option : cl::parser()->options()) {
            if (option != &command_line.operation && option->belongs_to(word.name)) {
                operation.options.push_back(read_option(*option, command_line));
            }
        }
        operations.push_back(std::move(operation));
    }
    return operations;
}

std::string short_help(const std::string& help) {
    std::size_t end = help.size();
    for (const char* const stop : {"\n", "; ", ". "}) {
        end = std::min(end, help.find(stop));
    }
    std::string text = help.substr(0, end);
    if (text.ends_with('.')) {
        text.pop_back();
    }
    return text;
}

std::string words_of(const std::vector<Choice>& choices, const char* separator) {
    std::string words;
    for (const Choice& choice : choices) {
        words += words.empty() ? "" : separator;
        words += choice.word;
    }
    return words;
}

std::string dictionary_words(const std::vector<Operation>& operations) {
    std::set<std::string> words;
    for (const Operation& operation : operations) {
        words.insert(operation.name);
        for (const Option& option : operation.options) {
            words.insert(option.name);
            for (const Choice& choice : option.choices) {
                words.insert(choice.word);
            }
        }
    }
    words.erase("");
    std::string lines;
    for (const std::string& word : words) {
        lines += "\"" + word + "\"\n";
    }
    return lines;
}

} // namespace qx::docgen
