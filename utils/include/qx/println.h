// One formatted line in one write.
#pragma once

#include <cstdio>
#include <fmt/format.h>

namespace qx {
namespace detail {

void vprintln(std::FILE* stream, fmt::string_view format, fmt::format_args args);

} // namespace detail

/// Formats at run time (zero-terminated text, literal braces doubled), appends a line feed and
/// hands the whole line to the stream with one fwrite. A stream that is a terminal gets the line's
/// control characters escaped. Throws fmt::format_error when format and
/// arguments do not fit.
template <typename Format, typename... Args>
void println(std::FILE* stream, Format format, const Args&... args) {
    detail::vprintln(stream, format, fmt::make_format_args(args...));
}

} // namespace qx
