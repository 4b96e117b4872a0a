// Members of the published interface that nothing here uses. They exist so that programs written
// against that interface compile.
#pragma once

namespace qx::cl::detail {
class option_base;
} // namespace qx::cl::detail

namespace qx::contract {

/// The unused members of every option.
class option_members {
public:
    /// Returns the value of a sub-command selector, and 0 for every other option.
    virtual int int_val() const { return 0; }
    /// Returns true: every option has storage.
    virtual bool storage_allocated() { return true; }

protected:
    ~option_members() = default;
};

/// The unused members of every value parser.
class parser_members {
public:
    /// Does nothing.
    virtual void anchor() {}
    /// Is called when `option` is registered.
    virtual void initialize(cl::detail::option_base& /*option*/) {}

protected:
    ~parser_members() = default;
};

/// The value of the parameter `External` of the option templates: an option stores its own value.
inline constexpr bool external_storage = false;

/// A selection of log lines. Every mask selects all lines.
using log_mask = unsigned long;

} // namespace qx::contract
