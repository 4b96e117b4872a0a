// The last error as a record of streams. A program that uses last_error() instead does not link the
// locales of the C++ library.
#pragma once

#include "qx/last_error.h"
#include "qx/memstream.h"

#include <cstdint>

namespace qx {

/// What went wrong last: a number and two texts, the short class of the error and its reason.
struct _QXErrorStorage {
    /// Number 0, "ok" and "no error".
    _QXErrorStorage();

    std::int32_t number;
    basic_memstream first;
    basic_memstream second;
};

/// The one record of the process, brought up to date. For the main thread.
_QXErrorStorage& _get_qxerrno();

} // namespace qx
