#include "mdoc.h"

#include <cctype>
#include <sstream>

namespace qx::docgen {
namespace {

constexpr std::size_t kLineLength = 76;

std::string escaped(const std::string& text) {
    std::string result;
    for (const char letter : text) {
        if (letter == '\\') {
            result += "\\e";
        } else {
            result += letter;
        }
    }
    return result;
}

/// Protects a line that the formatter would interpret as a request.
std::string protected_line(const std::string& line) {
    return (line.starts_with('.') || line.starts_with('\'') ? "\\&" : "") + line;
}

/// Returns the position of the identifier at the end of `text`, or the size of `text` if there is
/// none.
std::size_t begin_of_name(const std::string& text) {
    std::size_t begin = text.size();
    while (begin > 0 && (std::isalnum(static_cast<unsigned char>(text[begin - 1])) != 0 ||
                         text[begin - 1] == '_')) {
        --begin;
    }
    return begin;
}

/// Marks up words between backquotes as italic, and names before "()" as bold.
std::string marked_up(const std::string& text) {
    std::string result;
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '`') {
            quoted = !quoted;
            result += quoted ? "\\fI" : "\\fP";
            continue;
        }
        const std::size_t name = begin_of_name(result);
        if (text.compare(at, 2, "()") == 0 && name < result.size()) {
            result.insert(name, "\\fB");
            result += "\\fP";
        }
        result += text[at];
    }
    return result;
}

bool ends_sentence(const std::string& word) {
    return word.ends_with('.') || word.ends_with(".)") || word.ends_with(".'");
}

} // namespace

std::string mdoc_paragraph(const std::string& text) {
    std::istringstream words(marked_up(escaped(text)));
    std::string page;
    std::string line;
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > kLineLength) {
            page += protected_line(line) + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
        if (ends_sentence(word)) {
            page += protected_line(line) + "\n";
            line.clear();
        }
    }
    return line.empty() ? page : page + protected_line(line) + "\n";
}

std::string mdoc_literal(const std::string& text) {
    std::istringstream lines(escaped(text));
    std::string page = ".Bd -literal\n";
    for (std::string line; std::getline(lines, line);) {
        page += protected_line(line) + "\n";
    }
    return page + ".Ed";
}

} // namespace qx::docgen
