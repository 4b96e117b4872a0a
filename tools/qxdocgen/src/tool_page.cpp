#include "tool_page.h"

#include "mdoc.h"

namespace qx::docgen {
namespace {

std::string choices_text(const Option& option) {
    if (option.choices.empty() || option.value == words_of(option.choices, "|")) {
        return "";
    }
    const char* const begin = option.separator.empty() ? "One of " : "Any of ";
    return ".Pp\n" + mdoc_paragraph(begin + words_of(option.choices, ", ") + ".");
}

std::string option_text(const Option& option) {
    std::string text = ".It";
    text += option.name.empty() ? "" : " Fl -" + option.name;
    text += option.value.empty() ? "" : " Ar " + option.value;
    text += "\n" + mdoc_paragraph(option.help + (option.required ? " (required)" : ""));
    return text + choices_text(option);
}

} // namespace

std::string tool_operations(const std::vector<Operation>& operations) {
    std::string list = ".Bl -tag -width Ds\n";
    for (const Operation& operation : operations) {
        list += ".It Ic " + operation.name + "\n" + mdoc_paragraph(operation.help);
        if (operation.options.empty()) {
            continue;
        }
        list += ".Bl -tag -width Ds\n";
        for (const Option& option : operation.options) {
            list += option_text(option);
        }
        list += ".El\n";
    }
    return list + ".El";
}

} // namespace qx::docgen
