#include "transcript.h"

#include "protocol.h"

namespace qx::test {
namespace {

/// Appends to `out` the character or escape at the position `at` of `text`. Returns the next
/// position.
std::size_t append_character(std::string& out, const std::string& text, std::size_t at) {
    if (text[at] != '\\') {
        out += text[at];
        return at + 1;
    }
    const char kind = text.at(at + 1);
    if (kind == 'x' || kind == 'l') {
        const std::int32_t value = std::stoi(text.substr(at + 2, 2), nullptr, 16);
        out += kind == 'x' ? std::string(1, static_cast<char>(value)) : length_field(value);
        return at + 4;
    }
    out += kind == 'n' ? '\n' : kind == 'r' ? '\r' : kind;
    return at + 2;
}

} // namespace

std::string unescaped(const std::string& text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        at = append_character(out, text, at);
    }
    return out;
}

std::vector<std::string> words_of(const std::string& line) {
    std::vector<std::string> words;
    bool quoted = false;
    bool in_word = false;
    for (std::size_t at = 0; at < line.size();) {
        if (line[at] == ' ' && !quoted) {
            in_word = false;
            ++at;
            continue;
        }
        if (!in_word) {
            words.emplace_back();
            in_word = true;
        }
        if (line[at] == '\'') {
            quoted = !quoted;
            ++at;
        } else {
            at = append_character(words.back(), line, at);
        }
    }
    return words;
}

std::string request_of(const std::string& text) {
    const auto [name, data] = split_word(text);
    return data == "(no data)" ? command(name, "") : command(name, data.empty() ? "null" : data);
}

std::pair<std::string, std::string> split_word(const std::string& text) {
    const std::size_t space = text.find(' ');
    return {text.substr(0, space), space == std::string::npos ? "" : text.substr(space + 1)};
}

std::vector<std::pair<std::string, std::string>> read_transcript(const fs::path& file) {
    std::vector<std::pair<std::string, std::string>> lines;
    for (const std::string& line : lines_of(read_file(file))) {
        if (!line.empty() && line.front() != '#') {
            lines.push_back(split_word(line));
        }
    }
    return lines;
}

std::vector<fs::path> files_in(const char* folder) {
    const fs::directory_iterator files(folder);
    return {begin(files), end(files)};
}

} // namespace qx::test
