// The agent's directories, and paths of files and of settings that are known when compiling.
#pragma once

#include <string>

namespace qx {

/// The agent's well-known directories.
enum class common_path {
    programs = 1,      ///< where the agent's programs are
    configuration = 2, ///< where its configuration is
};

/// The path of `directory`; empty for a value that names none.
std::string to_string(common_path directory);

/// A constant path: plain text, or text below one of the agent's directories, which are found at
/// run time.
class constant_path {
public:
    constexpr explicit constant_path(const char* text)
        : text_(text) {}
    constexpr constant_path(common_path directory, const char* below)
        : directory_(directory)
        , text_(below) {}

    [[nodiscard]] std::string to_string() const;

private:
    common_path directory_{};
    const char* text_;
};

} // namespace qx
