// How the utility layer's types appear in fmt's replacement fields.
#pragma once

#include "qx/error.h"
#include "qx/path.h"
#include "qx/string_view.h"

#include <fmt/format.h>

/// Takes the specifications of fmt's own string view.
template <>
struct fmt::formatter<qx::string_view> : fmt::formatter<fmt::string_view> {
    fmt::format_context::iterator format(const qx::string_view& text,
                                         fmt::format_context& context) const;
};

/// The path's text. Only "{}".
template <>
struct fmt::formatter<qx::path> {
    constexpr const char* parse(fmt::format_parse_context& context) { return context.begin(); }
    fmt::format_context::iterator format(const qx::path& path, fmt::format_context& context) const;
};

/// "(first text) second text". Only "{}".
template <>
struct fmt::formatter<qx::_QXErrorStorage> {
    constexpr const char* parse(fmt::format_parse_context& context) { return context.begin(); }
    fmt::format_context::iterator format(const qx::_QXErrorStorage& record,
                                         fmt::format_context& context) const;
};
