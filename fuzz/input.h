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

/// Whether `text` is a JSON document, or any JSON value.
bool is_json(const char* text);

/// Checks, when it goes, that every descriptor opened meanwhile is closed again.
class DescriptorCheck {
public:
    DescriptorCheck();
    DescriptorCheck(const DescriptorCheck&) = delete;
    DescriptorCheck& operator=(const DescriptorCheck&) = delete;
    ~DescriptorCheck();

private:
    int lowest_free_;
};

/// Collects what is printed on standard output and standard error while it lives.
class CapturedStreams {
public:
    CapturedStreams();
    CapturedStreams(const CapturedStreams&) = delete;
    CapturedStreams& operator=(const CapturedStreams&) = delete;
    ~CapturedStreams();

    [[nodiscard]] std::string out() const { return out_.text(); }
    [[nodiscard]] std::string err() const { return err_.text(); }

private:
    struct Stream {
        explicit Stream(std::FILE*& replaced);
        Stream(const Stream&) = delete;
        Stream& operator=(const Stream&) = delete;
        ~Stream();
        [[nodiscard]] std::string text() const;

        std::FILE*& replaced;
        std::FILE* before;
        char* data = nullptr;
        std::size_t size = 0;
    };

    Stream out_;
    Stream err_;
};

/// Writes `bytes` to `file`, whose directory exists.
void replace_file(const char* file, std::string_view bytes);

} // namespace qx::fuzz

/// What the fuzzer, or the replay, calls once for every input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
/// What they call first; here it moves the process into a private world.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
