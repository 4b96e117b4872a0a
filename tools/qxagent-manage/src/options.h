// Option types of the operations. Each operation declares a struct of its options beside its
// handler. CommandLine contains all these structs.
#pragma once

#include "qx/cl.h"

#include <string>

namespace qx::manage {

using Text = cl::opt<std::string>;
using Integer = cl::opt<int>;
using Boolean = cl::opt<bool>;
using List = cl::list<std::string>;
using Set = cl::set<std::string>;
using Flag = cl::flag;

/// The operation to which a struct of options belongs. It is the first member of the struct,
/// because the other members refer to it.
using Owner = cl::subcommandname_struct;

enum class Operation : int;
/// Returns the owner for the options of `operation`.
Owner owner(Operation operation);

inline constexpr cl::countlimits_struct kRequired{1, 1};

/// Splits the value of a list or set at commas.
struct CommaSeparated {
    void apply(cl::detail::option_base& option) const {
        cl::listseparator(",").apply(option);
        cl::cut_at_separator.apply(option);
    }
};
inline constexpr CommaSeparated kCommaSeparated;

} // namespace qx::manage
