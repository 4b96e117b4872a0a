// The kinds of option that operations have. Each operation's options are a record beside its
// handler; the command line is the aggregate of these records.
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

/// The operation that a record of options belongs to: the record's first member, which its options
/// refer to.
using Owner = cl::subcommandname_struct;

enum class Operation : int;
/// The owner that the options of `operation` take.
Owner owner(Operation operation);

inline constexpr cl::countlimits_struct kRequired{1, 1};

/// A value that is cut at commas.
struct CommaSeparated {
    void apply(cl::detail::option_base& option) const {
        cl::listseparator(",").apply(option);
        cl::cut_at_separator.apply(option);
    }
};
inline constexpr CommaSeparated kCommaSeparated;

} // namespace qx::manage
