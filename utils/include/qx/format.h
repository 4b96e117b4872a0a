// Formatters of fmt for types of the utility layer. fmt calls them for an argument of such a type.
// Threads must not format the same path or error record at the same time: these contain a memory
// stream, which writes to itself when it is read. fmt throws fmt::format_error for a
// format string that a formatter does not accept.
#pragma once

#include "qx/error.h"
#include "qx/path.h"
#include "qx/string_view.h"

#include <fmt/format.h>

/// Formats the characters of a view. Accepts the format options of a string, such as "{:s}" and
/// "{:>8}".
template <>
struct fmt::formatter<qx::string_view> : fmt::formatter<fmt::string_view> {
    fmt::format_context::iterator format(const qx::string_view& text,
                                         fmt::format_context& context) const;
};

/// Formats the text of a path. Accepts only "{}", without options.
template <>
struct fmt::formatter<qx::path> {
    constexpr const char* parse(fmt::format_parse_context& context) { return context.begin(); }
    fmt::format_context::iterator format(const qx::path& path, fmt::format_context& context) const;
};

/// Formats an error record as "(first) second", that is, the kind and the reason. Accepts only
/// "{}", without options.
template <>
struct fmt::formatter<qx::_QXErrorStorage> {
    constexpr const char* parse(fmt::format_parse_context& context) { return context.begin(); }
    fmt::format_context::iterator format(const qx::_QXErrorStorage& record,
                                         fmt::format_context& context) const;
};
