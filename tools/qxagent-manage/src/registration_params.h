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
    /// Splits each element, which must contain exactly one "=". If the only element is "-", reads
    /// one pair per line from standard input instead. Unlike the command line, standard input is
    /// hidden from other users. Splits each line at its first "=" and ignores empty lines.
    explicit RegistrationParams(const std::vector<std::string>& elements);

    /// Returns a failure if standard input could not be read or is longer than 1 MiB.
    [[nodiscard]] const std::optional<Failure>& failure() const { return failure_; }

    /// Returns the pairs in order, with nullopt for an element or line that is not a pair. The
    /// pairs are views into this object or into the elements.
    [[nodiscard]] const std::vector<std::optional<Pair>>& pairs() const { return pairs_; }

private:
    std::string input_;
    std::vector<std::optional<Pair>> pairs_;
    std::optional<Failure> failure_;
};

} // namespace qx::manage
