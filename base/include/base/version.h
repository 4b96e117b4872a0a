// The version of a program. cmake/version.cmake generates the definition.
#pragma once

namespace qx {

/// The text "NAME VERSION (commit COMMIT)".
extern const char* const version_text;

} // namespace qx
