// Reads transcripts, which are tests in text files. The first word of a line is its kind.
#pragma once

#include "process.h"

#include <utility>

namespace qx::test {

/// Splits `text` at its first space. Without a space, the second part is "".
std::pair<std::string, std::string> split_word(const std::string& text);

/// Expands the escapes \n, \r, \xNN and \\ in `text`. Expands \lNN to the length field of a frame
/// whose text has 0xNN bytes.
std::string unescaped(const std::string& text);

/// Splits a command line into words at spaces outside single quotes. Expands escapes everywhere.
std::vector<std::string> words_of(const std::string& line);

/// Returns the request line of a command. `text` is the command's name, then its data: JSON text,
/// nothing for null, or "(no data)" to omit the member "data".
std::string request_of(const std::string& text);

/// Returns the first word and the rest of each line. Skips empty lines and lines that begin with
/// "#".
std::vector<std::pair<std::string, std::string>> read_transcript(const fs::path& file);

/// Returns the files in a folder, as the parameters of a test suite.
std::vector<fs::path> files_in(const char* folder);

} // namespace qx::test
