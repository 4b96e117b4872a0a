// Cleanup at the end of a scope.
#pragma once

#include <utility>

namespace qx {

/// Calls a function without arguments in the destructor, on the thread that leaves the scope. Drops
/// an exception of the function: no caller could catch it, and the guards constructed earlier must
/// still run.
template <typename Function>
class [[nodiscard]] scope_guard {
public:
    /// Takes the function, by value.
    explicit scope_guard(Function function)
        : function_(std::move(function)) {}
    scope_guard(const scope_guard&) = delete;
    scope_guard& operator=(const scope_guard&) = delete;
    ~scope_guard() {
        try {
            function_();
        } catch (...) {
            // see the comment of the class
        }
    }

private:
    Function function_;
};

} // namespace qx
