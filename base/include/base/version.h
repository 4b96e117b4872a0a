// The version of the program, which cmake/version.cmake writes into each program.
#pragma once

namespace qx {

/// "NAME VERSION (commit COMMIT)".
extern const char* const version_text;

} // namespace qx
