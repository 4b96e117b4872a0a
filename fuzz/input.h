// What every fuzz target starts from: its input taken apart, and the ways to say that something is
// wrong with what came out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace qx::fuzz {

/// The bytes of one run, taken from the front. What is not there reads as zero or empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    std::uint8_t byte();
    std::string text(std::size_t size);
    /// Up to the next `end`, which is taken too, or to the end of the input.
    std::string until(char end);
    std::string rest() { return text(rest_.size()); }

private:
    std::string_view rest_;
};

/// Says what does not hold and ends the process as a crash does.
void check(bool holds, const char* what);

/// Whether `text` is any JSON value.
bool is_json(const char* text);

/// Checks, when it goes, that every descriptor opened meanwhile is closed again.
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

/// Collects what is printed on `stdout` or `stderr` while it lives.
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

/// What the fuzzer, or the replay, calls once for every input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
/// What they call first; here it moves the process into a private world.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
