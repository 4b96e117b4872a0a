// Work that is done on every way out of a scope.
#pragma once

#include <utility>

namespace qx {

/// Calls its function when it is destroyed. An exception of the function ends there: on the way out
/// nobody is left to take it, and the guards armed before must still run.
template <typename Function>
class [[nodiscard]] scope_guard {
public:
    explicit scope_guard(Function function)
        : function_(std::move(function)) {}
    scope_guard(const scope_guard&) = delete;
    scope_guard& operator=(const scope_guard&) = delete;
    ~scope_guard() {
        try {
            function_();
        } catch (...) {
            // see above
        }
    }

private:
    Function function_;
};

} // namespace qx
