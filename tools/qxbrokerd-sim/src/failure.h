// The exception that ends the program or refuses its scenario.
#pragma once

#include <stdexcept>

namespace qx::sim {

/// what() says in one line what failed and why.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace qx::sim
