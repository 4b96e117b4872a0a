// Helpers for tests of the command-line parser. For test programs that link the utility layer.
#pragma once

#include "qx/cl.h"
#include "qx/error.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace qx::test {

/// Parses a command line of a program name and `words`. Returns "", or "(class) reason" if the
/// parser rejects the words.
inline std::string parse_words(std::vector<std::string> words) {
    words.insert(words.begin(), "/usr/sbin/program");
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    // Options refer to the words only during parsing, so `words` may be destroyed.
    if (qx::cl::parse(static_cast<int>(words.size()), argv.data())) {
        return {};
    }
    const qx::_QXErrorStorage& error = qx::_get_qxerrno();
    return "(" + error.first.sview().to_string() + ") " + error.second.sview().to_string();
}

/// Returns the usage text as it is printed to a pipe or a file.
inline std::string usage_text() {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = ::open_memstream(&text, &size);
    qx::cl::print_help(stream);
    std::fclose(stream);
    const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
    return {text, size};
}

} // namespace qx::test
