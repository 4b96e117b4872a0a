// Why the calling thread's last call failed. Recording allocates nothing.
#pragma once

#include "qx_plix.h"

#include <cstddef>
#include <cstdint>

namespace qxplix {

/// Forgets the recorded failure. Every public call that can fail calls this function first; a call
/// that succeeds although one of its steps failed calls it again at the end.
void clear_failure();

/// Records a failure of the current call, unless an earlier step of the call has failed already.
/// The message is `sentence`, followed by ": " and `detail` unless that is null. Returns -1.
int fail(qx_plix_stage stage, const char* sentence, const char* detail = nullptr);

/// Records a failed system call with errno, whose text follows `sentence`. EINTR, ETIMEDOUT,
/// ENOMEM, EMFILE and ENFILE have stages of their own, which override `stage`. Keeps errno and
/// returns -1.
int fail_with_errno(qx_plix_stage stage, const char* sentence);

/// Records that memory ran out. Returns -1.
int fail_for_memory();

/// Record that the library is not started, or that the call is not allowed in a callback. Return
/// -1.
int fail_not_started();
int fail_in_callback();

/// What the broker said when it refused a command.
struct refusal {
    const char* description; ///< zero-terminated UTF-8, or null
    bool has_code;
    std::int32_t code;
};

/// Records that the broker refused the command. Returns -1.
int fail_refused(const refusal& reason);

/// Copies `text` into `to`, cut between two characters so that it fits with its terminator.
void copy_text(char* to, std::size_t size, const char* text);

/// Does the same behind the text that `to` holds already.
void append_text(char* to, std::size_t size, const char* text);

} // namespace qxplix
