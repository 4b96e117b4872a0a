// Owners of what jansson, malloc and the kernel hand out.
#pragma once

#include <cstdlib>
#include <jansson.h>
#include <memory>
#include <unistd.h>

namespace qxplix {

struct json_release {
    void operator()(json_t* value) const { json_decref(value); }
};
/// One reference to a JSON value.
using json_handle = std::unique_ptr<json_t, json_release>;

struct text_release {
    void operator()(char* text) const { std::free(text); }
};
/// A zero-terminated text from malloc.
using text_handle = std::unique_ptr<char, text_release>;

/// A text that a routine hands back through a `char**`.
class received_text {
public:
    received_text() = default;
    received_text(const received_text&) = delete;
    received_text& operator=(const received_text&) = delete;
    ~received_text() { std::free(text_); }

    char** out() { return &text_; }
    [[nodiscard]] const char* get() const { return text_; }
    [[nodiscard]] char* release() {
        char* const text = text_;
        text_ = nullptr;
        return text;
    }

private:
    char* text_ = nullptr;
};

/// Stores -1 before it closes the descriptor; otherwise a child forked in between could close a
/// recycled descriptor number.
inline void close_fd(int& fd) {
    const int number = fd;
    fd = -1;
    ::close(number);
}

/// An open descriptor, or -1.
class fd_handle {
public:
    explicit fd_handle(int fd)
        : fd_(fd) {}
    fd_handle(const fd_handle&) = delete;
    fd_handle& operator=(const fd_handle&) = delete;
    ~fd_handle() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }

    explicit operator bool() const { return fd_ >= 0; }
    [[nodiscard]] int get() const { return fd_; }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    int fd_;
};

} // namespace qxplix
