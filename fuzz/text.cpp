// Splits, joins and formats strings.

#include "input.h"
#include "qx/error.h"
#include "qx/format.h"
#include "qx/log.h"
#include "qx/memstream.h"
#include "qx/path.h"
#include "qx/println.h"

#include <algorithm>
#include <fmt/format.h>
#include <string>
#include <vector>

namespace {

using qx::string_view;
using qx::fuzz::check;

void check_split(const std::string& text, const std::string& separator, unsigned long max) {
    const std::vector<string_view> pieces = string_view(text).split(separator, max);
    std::string joined;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        joined += (i == 0 ? "" : separator) + pieces[i].to_string();
        const bool last = i + 1 == pieces.size();
        check(last || separator.empty() || pieces[i].find(separator) == string_view::npos,
              "only the last piece may hold a separator");
    }
    check(joined == text, "the pieces, joined with the separator, are the text");
    check(pieces.empty() == text.empty(), "a text has no pieces if and only if it is empty");
    check(max == 0 || pieces.size() <= std::max(max, 2UL),
          "the number of pieces is within the limit");
}

void check_formats(const std::string& text) {
    const string_view view(text);
    check(fmt::format("{:s}|{:>20.3s}", view, view) == fmt::format("{:s}|{:>20.3s}", text, text),
          "a view is formatted as its text");
    qx::path path;
    path.add_piece(true, view);
    check(fmt::format("{}", path) == text, "a path is formatted as its text");

    const std::string visible = text.c_str(); // up to a zero byte
    qx::set_qxerrno(1, "kind", view);
    check(fmt::format("{}", qx::_get_qxerrno()) == "(kind) " + visible,
          "an error record is formatted as its kind and its text");
    const std::string line =
        qx::log::detail::format_line("[{:s}:{:d}][{:s}()]: {:s}\n", "x.cpp", 1, "f", view);
    check(line == "[x.cpp:1][f()]: " + text + "\n", "a log line holds its text");
}

void check_println(const std::string& text) {
    const qx::fuzz::Capture out(stdout);
    const string_view view(text);
    qx::println(stdout, "{:s}", view);
    check(out.text() == text + "\n", "println writes the text and a line feed");
}

void check_path(const std::vector<string_view>& pieces) {
    qx::path path;
    std::string expected;
    for (const string_view piece : pieces) {
        path.add_piece(false, piece);
        const std::string text = piece.to_string();
        const std::string rest = text.substr(std::min(text.find_first_not_of('/'), text.size()));
        if (!rest.empty() && !expected.empty()) {
            expected.resize(expected.find_last_not_of('/') + 1);
            expected += '/';
        }
        expected += rest;
    }
    check(path.to_string() == expected, "the pieces of a path are joined with one slash");
    const qx::path copy(path);
    path.add_piece(true, "more");
    check(copy.to_string() == expected, "a copy of a path stays the same when the path changes");
}

void check_stream(const std::string& text, std::size_t cut) {
    qx::basic_memstream stream(static_cast<long>(cut) - 1);
    for (const char byte : text.substr(0, cut)) {
        stream.put(byte);
    }
    stream << text;
    const std::string expected = text.substr(0, cut) + text;
    check(stream.sview().to_string() == expected, "a stream holds what was written");
    stream.truncate(cut < expected.size() ? cut : expected.size());
    check(stream.sview().to_string() == expected.substr(0, cut),
          "a truncated stream keeps its first characters");
}

} // namespace

/// Input: the largest number of pieces, a separator up to a zero byte, and a text.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qx::fuzz::Input input(data, size);
    const std::uint8_t number = input.byte();
    const std::string separator = input.until('\0');
    const std::string text = input.rest();
    check_split(text, separator, number);
    check_split(text, separator, string_view::unlimited);
    check_formats(text);
    check_println(text);
    check_path(string_view(text).split(separator));
    check_stream(text, number);
    return 0;
}
