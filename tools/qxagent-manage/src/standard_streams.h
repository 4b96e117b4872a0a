// The three standard streams: made ready at the start, looked after at the end.
#pragma once

namespace qx::manage {

/// Buffers standard output and standard error by lines, and puts something harmless in the place of
/// a standard descriptor that the caller has closed, so that no socket or file of ours ends up
/// under its number. Ignores SIGXFSZ, so that a write above the file size limit fails with an
/// error.
void prepare_standard_streams();

/// After one line on standard error when some of standard output could not be written: 1 in the
/// place of a `result` of 0. Any other `result` stays.
int check_standard_output(int result);

} // namespace qx::manage
