// The per-thread record of why the last call failed. Recording allocates no memory.
#pragma once

#include "qx_plix.h"

#include <cstddef>
#include <cstdint>

namespace qxplix {

/// Clears the record. Every public call that can fail does this first. A call that succeeds
/// although one of its steps failed clears the record again at the end.
void clear_failure();

/// Records a failure of the current call unless an earlier step has already recorded one. The
/// message is `sentence`, followed by ": " and `detail` unless `detail` is null. Returns -1.
int fail(qx_plix_stage stage, const char* sentence, const char* detail = nullptr);

/// Records the failure of a system call like fail(), with the text of errno as the detail. EINTR,
/// ETIMEDOUT, ENOMEM, EMFILE and ENFILE select their own stage instead of `stage`. Preserves errno
/// and returns -1.
int fail_with_errno(qx_plix_stage stage, const char* sentence);

/// Records that the process is out of memory. Returns -1.
int fail_for_memory();

/// Record that the library is not started, or that the call is not allowed in a callback. Return
/// -1.
int fail_not_started();
int fail_in_callback();

/// The broker's reason for refusing a command.
struct refusal {
    const char* description; ///< zero-terminated UTF-8, or null
    bool has_code;
    std::int32_t code;
};

/// Records that the broker refused the command. Returns -1.
int fail_refused(const refusal& reason);

/// Copies `text` into `to`, which has `size` bytes, at least 1. Truncates the text to fit, at a
/// UTF-8 character boundary.
void copy_text(char* to, std::size_t size, const char* text);

/// Appends `text` to the string in `to`, which has `size` bytes. Truncates `text` like copy_text.
void append_text(char* to, std::size_t size, const char* text);

} // namespace qxplix
