// Tests as text files. The first word of each line is its kind.
#pragma once

#include "process.h"

#include <utility>

namespace qx::test {

/// Splits `text` at its first space.
std::pair<std::string, std::string> split_word(const std::string& text);

/// Replaces the escapes \n, \r, \xNN and \\ of `text`, and \lNN with length_field(0xNN).
std::string unescaped(const std::string& text);

/// Splits a command line into words, which may be in single quotes and contain escapes.
std::vector<std::string> words_of(const std::string& line);

/// Returns the request for a command. `text` is its name and data: JSON text, "(no data)" for a
/// request without data, or nothing for null.
std::string request_of(const std::string& text);

/// Returns the first word and the rest of each line. Omits empty lines and comments, which begin
/// with "#".
std::vector<std::pair<std::string, std::string>> read_transcript(const fs::path& file);

/// Returns the files of a folder, with which tests are instantiated.
std::vector<fs::path> files_in(const char* folder);

} // namespace qx::test
