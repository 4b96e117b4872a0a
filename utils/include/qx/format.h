// Formatters of fmt for types of the utility layer. Safe to call from any thread.
#pragma once

#include "qx/error.h"
#include "qx/path.h"
#include "qx/string_view.h"

#include <fmt/format.h>

/// Formats a view of chars. Accepts the format specifications of fmt::string_view.
template <>
struct fmt::formatter<qx::string_view> : fmt::formatter<fmt::string_view> {
    fmt::format_context::iterator format(const qx::string_view& text,
                                         fmt::format_context& context) const;
};

/// Formats the text of a path. Accepts only "{}", without specifications.
template <>
struct fmt::formatter<qx::path> {
    constexpr const char* parse(fmt::format_parse_context& context) { return context.begin(); }
    fmt::format_context::iterator format(const qx::path& path, fmt::format_context& context) const;
};

/// Formats an error as "(first) second". Accepts only "{}", without specifications.
template <>
struct fmt::formatter<qx::_QXErrorStorage> {
    constexpr const char* parse(fmt::format_parse_context& context) { return context.begin(); }
    fmt::format_context::iterator format(const qx::_QXErrorStorage& record,
                                         fmt::format_context& context) const;
};
