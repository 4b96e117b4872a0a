// Members of the published interface that this code base does not use. They exist so that programs
// written against that interface compile.
#pragma once

namespace qx::cl::detail {
class option_base;
} // namespace qx::cl::detail

namespace qx::contract {

/// The unused members of every option, cl::detail::option_base.
class option_members {
public:
    /// Returns 0, except in the option that selects a sub-command, which returns the value of the
    /// chosen sub-command.
    virtual int int_val() const { return 0; }
    /// Returns true, because every option contains its value.
    virtual bool storage_allocated() { return true; }

protected:
    ~option_members() = default;
};

/// The unused members of every value parser, cl::detail::option_parser_base.
class parser_members {
public:
    virtual void anchor() {}
    /// Does nothing. An option calls it right after its registration.
    virtual void initialize(cl::detail::option_base& /*option*/) {}

protected:
    ~parser_members() = default;
};

/// The only value that the parameter `External` of the option templates may have: every option
/// contains its value.
inline constexpr bool external_storage = false;

/// The first parameter of log::can_log and log::print. It has no effect.
using log_mask = unsigned long;

} // namespace qx::contract
