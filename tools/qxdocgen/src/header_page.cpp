#include "header_page.h"

#include "mdoc.h"

#include <cctype>
#include <sstream>
#include <utility>
#include <vector>

namespace qx::docgen {
namespace {

/// Consecutive non-empty lines: a comment and the declarations that it describes.
struct Block {
    std::string comment; ///< lines without the comment delimiters
    std::string code;
};

/// Returns one line of a comment without the comment delimiters. Sets `open` to whether the comment
/// continues.
std::string comment_line(std::string line, bool& open) {
    const std::size_t end = line.find("*/");
    open = end == std::string::npos;
    line.resize(open ? line.size() : end);
    const std::size_t begin = line.find_first_not_of(" /*");
    return begin == std::string::npos ? "" : line.substr(begin);
}

std::vector<Block> read_blocks(const std::string& header) {
    std::istringstream lines(header);
    std::vector<Block> blocks(1);
    bool open = false;
    for (std::string line; std::getline(lines, line);) {
        if (open || line.starts_with("/*")) {
            blocks.back().comment += comment_line(line, open) + "\n";
        } else if (line.empty()) {
            blocks.emplace_back();
        } else if (!line.starts_with("#") && line != "}" && line != "extern \"C\" {") {
            blocks.back().code += line + "\n";
        }
    }
    return blocks;
}

/// Formats a comment that consists of paragraphs and of list items that begin with "- ".
std::string prose(const std::string& comment) {
    std::istringstream lines(comment);
    std::string page;
    std::string text;
    const char* begin = "";
    const auto flush = [&] {
        page += text.empty() ? "" : begin + mdoc_paragraph(std::exchange(text, ""));
    };
    bool list = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            flush();
            begin = page.empty() ? "" : ".Pp\n";
        } else if (line.starts_with("- ")) {
            flush();
            begin = list ? ".It\n" : ".Bl -bullet\n.It\n";
            list = true;
            text = line.substr(2);
        } else {
            text += " " + line;
        }
    }
    flush();
    return page + (list ? ".El\n" : "");
}

std::string section_title(const std::string& comment) {
    const std::size_t begin = comment.find_first_not_of("- ");
    const std::size_t end = comment.find(" ---", begin);
    std::string title = comment.substr(begin, end - begin);
    title[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(title[0])));
    return title;
}

} // namespace

std::string header_page(const std::string& header) {
    const std::vector<Block> blocks = read_blocks(header);
    std::string page;
    for (const Block& block : blocks) {
        if (block.comment.starts_with("NOLINT")) {
            continue;
        }
        if (block.comment.starts_with("---")) {
            page += ".Ss " + section_title(block.comment) + "\n";
            continue;
        }
        page += block.code.empty() ? "" : mdoc_literal(block.code) + "\n";
        page += block.code.empty() || block.comment.empty() ? "" : ".Pp\n";
        page += prose(block.comment);
    }
    page.pop_back();
    return page;
}

} // namespace qx::docgen
