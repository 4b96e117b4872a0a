// The last error of the process, an unlocked global. Main thread only, like every function that
// sets it; the comments of these functions say so.
#pragma once

#include "qx/string_view.h"

#include <cstdint>
#include <string>

namespace qx {

/// The values of error_info::number.
struct error_number {
    static constexpr std::int32_t none = 0;
    /// cl::parse rejected the command line.
    static constexpr std::int32_t bad_command_line = 1;
    /// Any other failure, such as a failed system call or a lack of memory.
    static constexpr std::int32_t input_output = 2;
    /// The settings store is not a JSON object of strings.
    static constexpr std::int32_t damaged_store = 3;
    /// setMgmt::deleteKey found no such key.
    static constexpr std::int32_t no_such_key = 4;
    /// setMgmt::deleteKey found no file of the store.
    static constexpr std::int32_t no_store = 5;
};

/// An error: its number, its kind in a few words, and its reason in one line.
struct error_info {
    std::int32_t number = error_number::none;
    string_view kind = "ok";
    std::string reason = "no error";
};

/// Returns the last error, or the default record if there was none. Only a failure changes the
/// last error; success does not clear it. The reference stays valid for the life of the process;
/// the next failure changes the record.
const error_info& last_error();

/// Sets the last error. The characters of `kind` must have static storage duration. Copies
/// `reason`, which must not point into the last error itself. Throws std::bad_alloc if memory runs
/// out.
void set_qxerrno(std::int32_t number, string_view kind, string_view reason);

/// Sets the last error to number 2, kind "input/output error" and a copy of `reason`. Throws
/// std::bad_alloc if memory runs out.
void set_io_error(string_view reason);

/// Does the same with the reason "<what>: <message>". The message is strerror's for the errno value
/// `reason`.
void set_io_error(const std::string& what, int reason);
} // namespace qx
