// The pairs of a registration, which may be secrets.
#pragma once

#include "pair.h"
#include "printers.h"

#include <optional>
#include <string>
#include <vector>

namespace qx::manage {

/// Splits the elements of `--params` into pairs.
class RegistrationParams {
public:
    /// A single element "-" means the lines of standard input, which other users cannot see, unlike
    /// the command line. A line is split at its first "="; empty lines are ignored.
    explicit RegistrationParams(const std::vector<std::string>& elements);

    /// Set when standard input could not be read or is longer than 1 MiB.
    [[nodiscard]] const std::optional<Failure>& failure() const { return failure_; }

    /// The pairs in order; an element or line that is no pair has no value. They point into this
    /// object or the elements.
    [[nodiscard]] const std::vector<std::optional<Pair>>& pairs() const { return pairs_; }

private:
    std::string input_;
    std::vector<std::optional<Pair>> pairs_;
    std::optional<Failure> failure_;
};

} // namespace qx::manage
