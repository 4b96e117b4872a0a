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

/// Parses the command line. Throws Failure if the command line is invalid.
Options parse_options(int argc, char** argv);

extern const char* const kHelp;

} // namespace qx::sim
