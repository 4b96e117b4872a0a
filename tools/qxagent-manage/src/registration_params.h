// The parameters of a registration, which may be secrets.
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
    /// If the only element is "-", reads the pairs from standard input, one per line; unlike the
    /// command line, standard input is hidden from other users. Splits each line at its first "="
    /// and ignores empty lines.
    explicit RegistrationParams(const std::vector<std::string>& elements);

    /// Set if standard input could not be read or is longer than 1 MiB.
    [[nodiscard]] const std::optional<Failure>& failure() const { return failure_; }

    /// The pairs in order, with nullopt for an element or line that is not a pair. They are views
    /// into this object or into the elements.
    [[nodiscard]] const std::vector<std::optional<Pair>>& pairs() const { return pairs_; }

private:
    std::string input_;
    std::vector<std::optional<Pair>> pairs_;
    std::optional<Failure> failure_;
};

} // namespace qx::manage
