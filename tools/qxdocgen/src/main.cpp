// qxdocgen TEMPLATE OUTPUT HEADER README WORDS: copies TEMPLATE to OUTPUT and replaces each @MARK@.
// The replacements come from the options that the tool registers, from the library's HEADER and
// from the C program in README. WORDS is the template of the script that completions run.

#include "completions.h"
#include "header_page.h"
#include "mdoc.h"
#include "tool_page.h"
#include "vocabulary.h"

#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

std::string read_file(const char* name) {
    const std::ifstream file(name, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file || !text) {
        throw std::runtime_error(std::string(name) + " cannot be read");
    }
    return text.str();
}

void write_file(const char* name, const std::string& text) {
    std::ofstream file(name, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) {
        throw std::runtime_error(std::string(name) + " cannot be written");
    }
}

/// Returns the README's only C program.
std::string program_of(const std::string& readme) {
    const std::string mark = "```c\n";
    const std::size_t begin = readme.find(mark);
    const std::size_t end = readme.find("```\n", begin + mark.size());
    if (begin == std::string::npos || end == std::string::npos) {
        throw std::runtime_error("the README holds no program in C");
    }
    return readme.substr(begin + mark.size(), end - begin - mark.size());
}

using Marks = std::map<std::string, std::string, std::less<>>;

/// Returns the document with each @MARK@ replaced. Throws std::runtime_error for an unknown mark.
std::string filled(const std::string& document, const Marks& marks) {
    std::string result;
    std::size_t copied = 0;
    for (std::size_t at = 0; (at = document.find('@', at)) != std::string::npos;) {
        const std::size_t begin = at + 1;
        at = document.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_", begin);
        if (at == std::string::npos || at == begin || document[at] != '@') {
            continue;
        }
        const std::string name = document.substr(begin, at - begin);
        const auto mark = marks.find(name);
        if (mark == marks.end()) {
            throw std::runtime_error("unknown mark @" + name + "@");
        }
        result.append(document, copied, begin - 1 - copied).append(mark->second);
        copied = ++at;
    }
    return result.append(document, copied);
}

Marks all_marks(const std::string& header, const std::string& readme,
                const std::string& words_script) {
    const qx::manage::CommandLine command_line;
    const auto operations = qx::docgen::read_vocabulary(command_line);
    const std::string script = filled(words_script, qx::docgen::script_marks(operations));
    return {
        {"OPERATIONS", qx::docgen::tool_operations(operations)},
        {"HEADER", qx::docgen::header_page(header)},
        {"PROGRAM", qx::docgen::mdoc_literal(program_of(readme))},
        {"WORDS_QUOTED", qx::docgen::posix_quoted(script)},
        {"WORDS_FISH_QUOTED", qx::docgen::fish_quoted(script)},
        {"EVENTS", qx::docgen::words_of(qx::docgen::event_names(), " ")},
        {"DICTIONARY_WORDS", qx::docgen::dictionary_words(operations)},
    };
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 6) {
        throw std::runtime_error("usage: qxdocgen TEMPLATE OUTPUT HEADER README WORDS");
    }
    const Marks marks = all_marks(read_file(argv[3]), read_file(argv[4]), read_file(argv[5]));
    write_file(argv[2], filled(read_file(argv[1]), marks));
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "qxdocgen: %s\n", failure.what());
    return 1;
}
