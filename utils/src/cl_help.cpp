#include "cl_words.h"
#include "qx/cl.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace qx::cl {
namespace {

using detail::concat;
using detail::joined;
using detail::option_base;

constexpr std::size_t kWidth = 80;
constexpr std::size_t kHelpColumn = 26;
constexpr std::size_t kSubCommandIndent = 2;
constexpr std::size_t kOptionIndent = 4;
constexpr std::size_t kWordIndent = 6;

bool is_set(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool wants_bold(std::FILE* stream) {
    return ::isatty(::fileno(stream)) == 1 && !is_set("NO_COLOR") && is_set("TERM") &&
           std::strcmp(std::getenv("TERM"), "dumb") != 0;
}

std::string upper_case(string_view text) {
    std::string upper = text.to_string();
    for (char& letter : upper) {
        letter = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return upper;
}

/// Returns the length of the first line when `text` is wrapped after at most `room` characters. A
/// word that is longer than `room` is not broken.
std::size_t line_length(string_view text, std::size_t room) {
    if (text.size() <= room) {
        return text.size();
    }
    for (std::size_t at = room; at > 0; --at) {
        if (text[at] == ' ') {
            return at;
        }
    }
    return std::min(text.find(" "), text.size());
}

/// Returns the option as the user types it.
std::string synopsis(option_base& option) {
    const string_view described = option.value_description();
    const bool bracketed = described.find("<") != string_view::npos;
    std::string value = bracketed ? described.to_string()
                                  : concat({"<", described.empty() ? "value" : described, ">"});
    if (option.is_positional()) {
        return value;
    }
    std::string typed;
    for (const string_view name : option.names()) {
        typed += concat({typed.empty() ? "--" : ", --", name});
    }
    return option.needs_param() ? concat({typed, " ", value}) : typed;
}

class UsagePage {
public:
    UsagePage(const command_line_parser& parser, bool bold)
        : parser_(parser)
        , bold_(bold) {
        constexpr std::size_t kUsualSize = 16384;
        text_.reserve(kUsualSize);
    }

    const std::string& write();

private:
    void add(string_view text) { text_.append(text.data(), text.size()); }
    void add_heading(string_view text);
    void add_wrapped(string_view text, std::size_t column);
    void add_help(std::size_t used, string_view help);
    void add_notes();
    void add_option(option_base& option);
    /// Adds the options of one sub-command, or the options that all sub-commands share if the name
    /// is empty.
    void add_options(string_view sub_command);

    const command_line_parser& parser_;
    std::string text_;
    bool bold_;
};

void UsagePage::add_heading(string_view text) {
    add(bold_ ? "\033[1m" : "");
    add(text);
    add(bold_ ? "\033[0m" : "");
}

/// Adds `text` to the current line, which has `column` characters. Further lines of the text are
/// indented by `column`.
void UsagePage::add_wrapped(string_view text, std::size_t column) {
    bool first = true;
    for (string_view rest : text.split("\n")) {
        do {
            text_.append(first ? 0 : column, ' ');
            first = false;
            const std::size_t length = line_length(rest, kWidth - column);
            add(rest.substr(0, length));
            add("\n");
            rest = rest.substr(std::min(length + 1, rest.size()));
        } while (!rest.empty());
    }
}

/// Adds `help` in the help column of the current line, which has `used` characters. If these reach
/// the help column, the text begins on the next line.
void UsagePage::add_help(std::size_t used, string_view help) {
    constexpr std::size_t kGap = 2;
    if (help.empty() || used + kGap > kHelpColumn) {
        add("\n");
        used = 0;
    }
    if (!help.empty()) {
        text_.append(kHelpColumn - used, ' ');
        add_wrapped(help, kHelpColumn);
    }
}

void UsagePage::add_option(option_base& option) {
    const std::string typed = synopsis(option);
    text_.append(kOptionIndent, ' ');
    add(typed);
    add_help(kOptionIndent + typed.size(),
             concat({option.description(), option.is_required() ? " (required)" : ""}));
    for (const detail::value_entry& word : option.value_list()) {
        text_.append(kWordIndent, ' ');
        add(word.name);
        add_help(kWordIndent + word.name.size(), word.help);
    }
}

void UsagePage::add_options(string_view sub_command) {
    for (option_base* option : parser_.options()) {
        const bool common = option->sub_command_names().empty();
        const bool here = common ? sub_command.empty() : option->belongs_to(sub_command);
        if (here && option != parser_.selector()) {
            add_option(*option);
        }
    }
}

void UsagePage::add_notes() {
    std::string note = "An option is written '--name value' or '--name=value'.";
    for (const option_base* option : parser_.options()) {
        if (option->value_list().empty() && !option->accepted_words().empty()) {
            note += concat({" A boolean is one of ", joined(option->accepted_words(), ", "), "."});
            break;
        }
    }
    add_wrapped(note, 0);
}

const std::string& UsagePage::write() {
    const option_base* const selector = parser_.selector();
    add_heading("usage:");
    add(concat({" ", parser_.program_name()}));
    if (selector != nullptr) {
        add(concat({" ", upper_case(selector->value_description())}));
    }
    add(" [OPTION]...\n\n");
    add_notes();
    add("\n");
    add_options({});
    if (selector == nullptr) {
        return text_;
    }
    add_heading(selector->description());
    add("\n");
    for (const detail::value_entry& word : selector->value_list()) {
        text_.append(kSubCommandIndent, ' ');
        add_heading(word.name);
        add_help(kSubCommandIndent + word.name.size(), word.help);
        add_options(word.name);
    }
    return text_;
}

} // namespace

void command_line_parser::print_help(std::FILE* stream) const {
    UsagePage page(*this, wants_bold(stream));
    const std::string& text = page.write();
    std::fwrite(text.data(), 1, text.size(), stream);
}

} // namespace qx::cl
