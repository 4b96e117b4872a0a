// The last error as a record whose texts are memory streams. Prefer last_error() of
// qx/last_error.h: streams link the C++ library's locale code into the program.
#pragma once

#include "qx/last_error.h"
#include "qx/memstream.h"

#include <cstdint>

namespace qx {

/// The last error: its number, its kind in `first` and its reason in `second`.
struct _QXErrorStorage {
    /// Initialises the record to "no error": number 0, kind "ok", reason "no error".
    _QXErrorStorage();

    std::int32_t number;
    basic_memstream first;
    basic_memstream second;
};

/// Returns the record of the process, updated from last_error(). The reference stays valid; the
/// next call updates the same record. Main thread only.
_QXErrorStorage& _get_qxerrno();

} // namespace qx
