// The exception for errors that end the program.
#pragma once

#include <stdexcept>

namespace qx::sim {

/// what() is one line that tells what failed and why.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace qx::sim
