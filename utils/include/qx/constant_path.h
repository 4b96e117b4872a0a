// The agent's directories, and paths of files and of settings that are known at compile time.
#pragma once

#include <string>

namespace qx {

/// The agent's directories.
enum class common_path {
    programs = 1,      ///< the directory of the agent's programs
    configuration = 2, ///< the directory of the agent's configuration
};

/// Returns the path of `directory`, or an empty text if the value is not an enumerator. Main thread
/// only.
std::string to_string(common_path directory);

/// A constant path: a text, or a text below one of the agent's directories, which are found at run
/// time. The texts must live as long as the object.
class constant_path {
public:
    /// Makes a path of `text`.
    constexpr explicit constant_path(const char* text)
        : text_(text) {}
    /// Makes a path of `below`, which has no leading "/", below `directory`.
    constexpr constant_path(common_path directory, const char* below)
        : directory_(directory)
        , text_(below) {}

    /// Returns the whole path. Main thread only.
    [[nodiscard]] std::string to_string() const;

private:
    common_path directory_{};
    const char* text_;
};

} // namespace qx
