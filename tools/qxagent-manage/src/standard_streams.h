// Set-up and final check of the standard streams.
#pragma once

namespace qx::manage {

/// Makes standard output and standard error line-buffered. Opens a harmless descriptor in place of
/// each standard descriptor that the caller has closed; otherwise a socket or file of the tool
/// could get its number. Ignores SIGXFSZ, so that a write above the file size limit fails with an
/// error.
void prepare_standard_streams();

/// Flushes standard output. If some output could not be written, prints one line on standard error
/// and returns 1 instead of a `result` of 0. Returns `result` otherwise.
int check_standard_output(int result);

} // namespace qx::manage
