// The last error of the process. A utility-layer function that fails sets it. Main thread only.
#pragma once

#include "qx/string_view.h"

#include <cstdint>
#include <string>

namespace qx {

struct error_number {
    static constexpr std::int32_t none = 0;
    static constexpr std::int32_t bad_command_line = 1;
    static constexpr std::int32_t input_output = 2;
    static constexpr std::int32_t damaged_store = 3;
    static constexpr std::int32_t no_such_key = 4;
    static constexpr std::int32_t no_store = 5;
};

/// An error: its number, its kind in one or two words, and its reason.
struct error_info {
    std::int32_t number = error_number::none;
    string_view kind = "ok";
    std::string reason = "no error";
};

/// Returns the last error, or the default record if there was none. Only a failure changes the
/// last error; success does not clear it. The reference stays valid.
const error_info& last_error();

/// Sets the last error. The text of `kind` must have static storage duration. `reason` is copied;
/// it must not point into the last error itself.
void set_qxerrno(std::int32_t number, string_view kind, string_view reason);

/// Sets the last error to an input/output error with the given reason.
void set_io_error(string_view reason);

/// Sets the last error to an input/output error. Its reason is `what` followed by the text of the
/// errno value `reason`.
void set_io_error(const std::string& what, int reason);
} // namespace qx
