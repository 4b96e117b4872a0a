// The pairs of a registration, which may be secrets.
#pragma once

#include "pair.h"

#include <optional>
#include <string>
#include <vector>

namespace qx::manage {

/// Splits the elements of `--params` into pairs.
class RegistrationParams {
public:
    /// The only element "-" stands for the lines of standard input, which, unlike the command line,
    /// other users cannot see. A line is split at its first "="; empty lines are ignored.
    explicit RegistrationParams(const std::vector<std::string>& elements);

    /// False when standard input could not be read, or is longer than 1 MiB; the reason stands on
    /// standard error.
    [[nodiscard]] bool complete() const { return complete_; }

    /// In order; nothing in the place of an element or line that is no pair. Views into this object
    /// or the elements.
    [[nodiscard]] const std::vector<std::optional<Pair>>& pairs() const { return pairs_; }

private:
    std::string input_;
    std::vector<std::optional<Pair>> pairs_;
    bool complete_ = true;
};

} // namespace qx::manage
