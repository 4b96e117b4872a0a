// The last error of the process, which operations of the utility layer fill when they fail.
#pragma once

#include "qx/string_view.h"

#include <cstdint>
#include <string>

namespace qx {

/// The numbers of errors.
struct error_number {
    static constexpr std::int32_t none = 0;
    static constexpr std::int32_t bad_command_line = 1;
    static constexpr std::int32_t input_output = 2;
    static constexpr std::int32_t damaged_store = 3;
    static constexpr std::int32_t no_such_key = 4;
    static constexpr std::int32_t no_store = 5;
};

/// What went wrong: a number, the short class of the error and its reason.
struct error_info {
    std::int32_t number = error_number::none;
    string_view kind = "ok";
    std::string reason = "no error";
};

/// The last error. Only a failure changes it. For the main thread.
const error_info& last_error();

/// Replaces the last error. The text of `kind` lives as long as the program; `reason` is not part
/// of the last error.
void set_qxerrno(std::int32_t number, string_view kind, string_view reason);

/// The same for an input or output that failed; `reason` says how.
void set_io_error(string_view reason);

/// The same, with the text of `reason`, an errno, behind `what`.
void set_io_error(const std::string& what, int reason);
} // namespace qx
