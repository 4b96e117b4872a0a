// The log: lines in a file of the agent's log directory. After `start` any thread may log until
// `stop`; call both in the main thread, while no other thread logs.
#pragma once

#include "qx/contract.h"
#include "qx/format.h"
#include "qx/string_view.h"

#include <fmt/format.h>
#include <string>

namespace qx::log {

enum class level { error = 0, warning = 1, info = 2, debug = 3 };

/// Opens "var/log/<name>.log" of the install directory, for lines up to the level that the
/// environment variable QXLOG_LEVEL names (error, warn, info, debug, none; else warn). Without an
/// install directory it succeeds and nothing is ever written. False when the file cannot be opened,
/// which becomes the last error (qx/last_error.h).
/// `second` selects nothing.
bool start(const char* name, const char* second);

/// Whether a line of this level would be written. The mask selects nothing.
bool can_log(contract::log_mask mask, level severity);

/// Writes a whole line, line feed included, in one piece. Date, time, process id and level replace
/// the placeholder that it begins with, if any. All but the final line feed is escaped like text on
/// a terminal (qx/escape.h). A line that cannot be written is dropped.
void print(contract::log_mask mask, level severity, std::string&& line);

void stop();

namespace detail {

constexpr string_view base_name(const char* file) {
    const char* base = file;
    for (const char* c = file; *c != '\0'; ++c) {
        if (*c == '/') {
            base = c + 1;
        }
    }
    return base;
}

std::string vformat_line(fmt::string_view line, fmt::format_args args);

template <typename... Args>
std::string format_line(const char* line, string_view file, int number, const char* function,
                        const Args&... args) {
    return vformat_line(line, fmt::make_format_args(file, number, function, args...));
}

} // namespace detail
} // namespace qx::log

/// Logs `message`, a string literal in fmt's syntax, with its arguments. Nothing is formatted for a
/// level that is off.
#define QX_LOG(severity, message, ...)                                                             \
    do {                                                                                           \
        if (qx::log::can_log(0, severity)) {                                                       \
            qx::log::print(0, severity,                                                            \
                           qx::log::detail::format_line("yyyy-mm-dd HH:MM:SS.__m ____pid __lvl "   \
                                                        "[{:s}:{:d}][{:s}()]: " message "\n",      \
                                                        qx::log::detail::base_name(__FILE__),      \
                                                        __LINE__,                                  \
                                                        __func__ __VA_OPT__(, ) __VA_ARGS__));     \
        }                                                                                          \
    } while (false)
