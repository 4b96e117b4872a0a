// Cleanup at the end of a scope.
#pragma once

#include <utility>

namespace qx {

/// Calls a function in the destructor, on the thread that leaves the scope. Drops an exception of
/// the function: if the destructor threw, the process would end, and guards constructed earlier
/// would not run.
template <typename Function>
class [[nodiscard]] scope_guard {
public:
    /// Stores `function`, which the destructor calls without arguments. Whatever a lambda captures
    /// by reference must outlive the guard.
    explicit scope_guard(Function function)
        : function_(std::move(function)) {}
    /// A copy would call the function a second time.
    scope_guard(const scope_guard&) = delete;
    scope_guard& operator=(const scope_guard&) = delete;
    /// Calls the function. The call cannot be cancelled.
    ~scope_guard() {
        try {
            function_();
        } catch (...) {
            // dropped; see the comment of the class
        }
    }

private:
    Function function_;
};

} // namespace qx
