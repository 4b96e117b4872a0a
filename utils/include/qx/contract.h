// What the published interface has and nothing here needs: programs written against it compile.
#pragma once

namespace qx::cl::detail {
class option_base;
} // namespace qx::cl::detail

namespace qx::contract {

/// Members of every option.
class option_members {
public:
    virtual int int_val() const { return 0; } ///< a sub-command selector returns its value
    virtual bool storage_allocated() { return true; }

protected:
    ~option_members() = default;
};

/// Members of every value parser.
class parser_members {
public:
    virtual void anchor() {}
    virtual void initialize(cl::detail::option_base& /*option*/) {} ///< at the registration

protected:
    ~parser_members() = default;
};

/// The parameter `External` of the option templates: an option is always its own storage.
inline constexpr bool external_storage = false;

/// Selects log lines; every mask selects all of them.
using log_mask = unsigned long;

} // namespace qx::contract
