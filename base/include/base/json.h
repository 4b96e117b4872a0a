// Ownership of JSON values and of strings from malloc(). Nothing here locks: threads must not share
// an object.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <jansson.h>
#include <memory>
#include <utility>

namespace qx {

/// Deleter that drops one reference to a JSON value.
struct json_release {
    void operator()(json_t* value) const { ::json_decref(value); }
};

/// Owns one reference to a JSON value, or is null.
using json_ptr = std::unique_ptr<json_t, json_release>;

/// Owns a zero-terminated string from malloc(), or is null. Frees the string in the destructor.
class text_ptr {
public:
    text_ptr(std::nullptr_t = nullptr) noexcept {}
    /// Takes ownership of `text`, which may be null.
    explicit text_ptr(char* text) noexcept
        : text_(text) {}
    text_ptr(text_ptr&& other) noexcept
        : text_(other.release()) {}
    text_ptr& operator=(text_ptr&& other) noexcept {
        std::free(std::exchange(text_, other.release()));
        return *this;
    }
    ~text_ptr() { std::free(text_); }

    /// Returns the string, which the object still owns, or null.
    [[nodiscard]] char* get() const noexcept { return text_; }
    explicit operator bool() const noexcept { return text_ != nullptr; }

    /// Returns the address of the pointer, to pass as an output argument. The object owns the
    /// string stored there. Call this only on a null object: otherwise the old string leaks.
    [[nodiscard]] char** out() noexcept { return &text_; }
    /// Passes ownership to the caller, who frees the string with free(). Returns null if there is
    /// none.
    [[nodiscard]] char* release() noexcept { return std::exchange(text_, nullptr); }

private:
    char* text_ = nullptr;
};

} // namespace qx
