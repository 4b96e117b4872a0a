// The command line.
#pragma once

#include <string>

namespace qx::sim {

struct Options {
    std::string install_dir;
    std::string scenario; ///< a file, or "" for none
    bool trace = false;
    bool help = false;
    bool version = false;
};

/// Throws Failure, whose text says what is wrong.
Options parse_options(int argc, char** argv);

extern const char* const kHelp;

} // namespace qx::sim
