// Helpers that split the input of a fuzz target and check the results.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace qx::fuzz {

/// The input of one run, consumed from the front. After the end of the input, byte() returns 0 and
/// the other functions return "".
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    std::uint8_t byte();
    /// Returns the next `size` bytes, or all remaining bytes if there are fewer.
    std::string text(std::size_t size);
    /// Consumes the bytes up to and including the next `end`, or all remaining bytes if there is no
    /// `end`. Returns them without `end`.
    std::string until(char end);
    std::string rest() { return text(rest_.size()); }

private:
    std::string_view rest_;
};

/// If `holds` is false, prints `what` and aborts.
void check(bool holds, const char* what);

/// Returns whether `text` is a JSON value of any type.
bool is_json(const char* text);

/// The destructor checks that every descriptor opened since the construction is closed again.
class DescriptorCheck {
public:
    DescriptorCheck() = default;
    DescriptorCheck(const DescriptorCheck&) = delete;
    DescriptorCheck& operator=(const DescriptorCheck&) = delete;
    ~DescriptorCheck();

private:
    static int lowest_free();

    int before_ = lowest_free();
};

/// Captures the output to `stream`, which is stdout or stderr, while the object lives.
class Capture {
public:
    explicit Capture(std::FILE*& stream);
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    ~Capture();

    [[nodiscard]] std::string text() const;

private:
    std::FILE*& stream_;
    std::FILE* before_;
    char* data_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace qx::fuzz

/// Runs the target on one input. Called by libFuzzer or, in builds without it, by replay.cpp.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
/// Moves the process into a private environment (tests/support/world.h). Called by libFuzzer or
/// replay.cpp before the first input.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
