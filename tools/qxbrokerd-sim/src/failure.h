// What ends the program, or the reading of its scenario.
#pragma once

#include <stdexcept>

namespace qx::sim {

/// Why something cannot be done, as one line for a person.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace qx::sim
