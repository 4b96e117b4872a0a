// Formatted output of one line.
#pragma once

#include <cstdio>
#include <fmt/format.h>

namespace qx {
namespace detail {

/// Implements println once for all argument types.
void vprintln(std::FILE* stream, fmt::string_view format, fmt::format_args args);

} // namespace detail

/// Formats a line, appends a line feed and writes the line to `stream` with one fwrite. `format` is
/// a NUL-terminated string in fmt's syntax, which is checked at run time. If the stream is a
/// terminal, the line is escaped as in qx/escape.h. Throws fmt::format_error if the
/// format does not match the arguments, and std::bad_alloc if memory runs out. A write error only
/// sets the error indicator of the stream. Safe to call from any thread.
template <typename Format, typename... Args>
void println(std::FILE* stream, Format format, const Args&... args) {
    detail::vprintln(stream, format, fmt::make_format_args(args...));
}

} // namespace qx
