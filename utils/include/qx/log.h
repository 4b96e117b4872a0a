// The log: a file of lines in the agent's log directory. Call `start` and `stop` on the main thread
// while no other thread logs. Between these calls any thread may log.
#pragma once

#include "qx/contract.h"
#include "qx/format.h"
#include "qx/string_view.h"

#include <fmt/format.h>
#include <string>

namespace qx::log {

/// The severity of a line.
enum class level { error = 0, warning = 1, info = 2, debug = 3 };

/// Opens or creates "var/log/<name>.log" in the install directory. The environment variable
/// QXLOG_LEVEL (error, warn, info, debug or none) names the least severe level that is logged; the
/// default is warn. `second` has no effect and may be null. Without an install directory the call
/// succeeds, and the log drops every line. Returns false, with the last error (qx/last_error.h), if
/// the file cannot be opened. Throws std::bad_alloc if memory runs out.
bool start(const char* name, const char* second);

/// Returns whether the log is open and accepts lines of this level. `mask` has no effect. Safe to
/// call from any thread.
bool can_log(contract::log_mask mask, level severity);

/// Appends `line`, which ends with a line feed, in one write if can_log accepts `severity`. The
/// content of `line` is unspecified afterwards. The line begins with a placeholder of fixed width,
/// as QX_LOG writes it, which local date and time, process id and level replace. The rest is
/// escaped as in qx/escape.h, except the final line feed. `mask` has no effect. A line that cannot
/// be written is dropped without an error. Throws std::bad_alloc if memory runs out. Safe to call
/// from any thread.
void print(contract::log_mask mask, level severity, std::string&& line);

/// Closes the log; later lines are dropped. Does nothing if the log is closed.
void stop();

namespace detail {

/// Returns the part of the path `file`, not null, after the last "/", as a view of the path.
constexpr string_view base_name(const char* file) {
    const char* base = file;
    for (const char* c = file; *c != '\0'; ++c) {
        if (*c == '/') {
            base = c + 1;
        }
    }
    return base;
}

/// Implements format_line once for all argument types.
std::string vformat_line(fmt::string_view line, fmt::format_args args);

/// Formats a line of QX_LOG. `line` is the format of the whole line; `file`, `number` and
/// `function` are its first arguments.
template <typename... Args>
std::string format_line(const char* line, string_view file, int number, const char* function,
                        const Args&... args) {
    return vformat_line(line, fmt::make_format_args(file, number, function, args...));
}

} // namespace detail
} // namespace qx::log

/// Logs a line of level `severity`. `message` is a string literal in fmt's syntax, without a line
/// feed. The arguments after it are evaluated only if the level is logged. Throws fmt::format_error
/// if they do not match the message, and std::bad_alloc if memory runs out. Safe to use on any
/// thread.
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
