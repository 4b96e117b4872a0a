// The record that operations of the utility layer fill when they fail.
#pragma once

#include "qx/memstream.h"
#include "qx/string_view.h"

#include <cstdint>
#include <string>

namespace qx {

/// What went wrong last: a number and two texts, the short class of the error and its reason.
struct _QXErrorStorage {
    /// Number 0, "ok" and "no error".
    _QXErrorStorage();

    std::int32_t number;
    basic_memstream first;
    basic_memstream second;
};

/// The record's numbers.
struct error_number {
    static constexpr std::int32_t none = 0;
    static constexpr std::int32_t bad_command_line = 1;
    static constexpr std::int32_t input_output = 2;
    static constexpr std::int32_t damaged_store = 3;
    static constexpr std::int32_t no_such_key = 4;
    static constexpr std::int32_t no_store = 5;
};

/// The one record of the process, for the main thread. Only a failure changes it.
_QXErrorStorage& _get_qxerrno();

/// Fills the record. The texts must not be the record's own.
void set_qxerrno(std::int32_t number, string_view first, string_view second);

/// Fills it for an input or output that failed; `reason` says how.
void set_io_error(string_view reason);

/// The same, with the text of `reason`, an errno, behind `what`.
void set_io_error(const std::string& what, int reason);

} // namespace qx
