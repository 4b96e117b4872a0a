// The three standard streams: made ready at the start, looked after at the end.
#pragma once

namespace qx::manage {

/// Buffers standard output and standard error by lines, and puts something harmless in the place of
/// a standard descriptor that the caller has closed, so that no socket or file of ours ends up
/// under its number.
void prepare_standard_streams();

/// `result`, or 1 after one line on standard error when it is 0 but some of standard output could
/// not be written.
int check_standard_output(int result);

} // namespace qx::manage
