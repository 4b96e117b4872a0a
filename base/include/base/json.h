// Owning what jansson and malloc hand out.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <jansson.h>
#include <memory>
#include <utility>

namespace qx {

struct json_release {
    void operator()(json_t* value) const { ::json_decref(value); }
};

/// One reference to a JSON value.
using json_ptr = std::unique_ptr<json_t, json_release>;

/// A zero-terminated text from malloc, or null.
class text_ptr {
public:
    text_ptr(std::nullptr_t = nullptr) noexcept {}
    explicit text_ptr(char* text) noexcept
        : text_(text) {}
    text_ptr(text_ptr&& other) noexcept
        : text_(other.release()) {}
    text_ptr& operator=(text_ptr&& other) noexcept {
        std::free(std::exchange(text_, other.release()));
        return *this;
    }
    ~text_ptr() { std::free(text_); }

    [[nodiscard]] char* get() const noexcept { return text_; }
    explicit operator bool() const noexcept { return text_ != nullptr; }

    /// Where a call stores a text that this object then owns. The object must be empty.
    [[nodiscard]] char** out() noexcept { return &text_; }
    /// Gives the text away.
    [[nodiscard]] char* release() noexcept { return std::exchange(text_, nullptr); }

private:
    char* text_ = nullptr;
};

} // namespace qx
