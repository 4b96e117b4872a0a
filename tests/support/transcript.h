// Tests as text: lines that each begin with the word that says what the line is.
#pragma once

#include "process.h"

#include <utility>

namespace qx::test {

/// Splits `text` at its first space.
std::pair<std::string, std::string> split_word(const std::string& text);

/// Replaces the escapes \n, \r, \xNN and \\ of `text`.
std::string unescaped(const std::string& text);

/// The words of a command line, which may be in single quotes and contain escapes.
std::vector<std::string> words_of(const std::string& line);

/// The request for a command and its data, which may be "(no data)", or nothing for null.
std::string request_of(const std::string& text);

/// The first word and the rest of each line; comments, which begin with "#", and empty lines are
/// left out.
std::vector<std::pair<std::string, std::string>> read_transcript(const fs::path& file);

/// The files of a folder, to instantiate tests with.
std::vector<fs::path> files_in(const char* folder);

} // namespace qx::test
