// The last error as a record of memory streams. Prefer last_error() of qx/last_error.h: streams
// link the C++ library's locale code into the program. Main thread only.
#pragma once

#include "qx/last_error.h"
#include "qx/memstream.h"

#include <cstdint>

namespace qx {

/// The last error: its number, its kind in `first` and its reason in `second`.
struct _QXErrorStorage {
    /// Makes a record that reports no error: number 0, kind "ok", reason "no error". Throws
    /// std::bad_alloc if memory runs out.
    _QXErrorStorage();

    std::int32_t number;
    basic_memstream first;
    basic_memstream second;
};

/// Copies last_error() into the only record of the process and returns that record. The reference
/// stays valid; the next call changes the record. Throws std::bad_alloc if memory runs out.
_QXErrorStorage& _get_qxerrno();

} // namespace qx
