// The agent's directories, and a type for file paths and settings keys that are compile-time
// constants. Safe to use on any thread.
#pragma once

#include <string>

namespace qx {

/// A directory below the agent's install directory.
enum class common_path {
    programs = 1,      ///< the directory of the agent's programs
    configuration = 2, ///< the directory of the agent's configuration
};

/// Returns the absolute path of `directory`, or an empty string if the value is not an enumerator.
/// Throws std::bad_alloc if memory runs out.
std::string to_string(common_path directory);

/// A constant path: a whole path, or a path below one of the agent's directories. Only to_string()
/// looks up the install directory. The object keeps a pointer to the characters, which must outlive
/// the object.
class constant_path {
public:
    /// Makes the path `text`, which is NUL-terminated and not null.
    constexpr explicit constant_path(const char* text)
        : text_(text) {}
    /// Makes the path of the file `below` in `directory`. `below` is NUL-terminated and has no
    /// leading "/".
    constexpr constant_path(common_path directory, const char* below)
        : directory_(directory)
        , text_(below) {}

    /// Returns the whole path. Throws std::bad_alloc if memory runs out.
    [[nodiscard]] std::string to_string() const;

private:
    common_path directory_{};
    const char* text_;
};

} // namespace qx
