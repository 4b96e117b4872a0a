#include "input.h"

#include "world.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <jansson.h>
#include <unistd.h>

namespace qx::fuzz {
namespace {

int lowest_free_descriptor() {
    const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(fd);
    return fd;
}

} // namespace

std::uint8_t Input::byte() {
    const std::string one = text(1);
    return one.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(one[0]);
}

std::string Input::text(std::size_t size) {
    std::string taken(rest_.substr(0, size));
    rest_.remove_prefix(taken.size());
    return taken;
}

std::string Input::until(char end) {
    std::string taken = text(std::min(rest_.find(end), rest_.size()));
    text(1);
    return taken;
}

void check(bool holds, const char* what) {
    if (!holds) {
        // Standard error may be captured.
        ::dprintf(STDERR_FILENO, "does not hold: %s\n", what);
        std::abort();
    }
}

bool is_json(const char* text) {
    json_t* const value = ::json_loads(text, JSON_DECODE_ANY, nullptr);
    ::json_decref(value);
    return value != nullptr;
}

DescriptorCheck::DescriptorCheck()
    : lowest_free_(lowest_free_descriptor()) {}

DescriptorCheck::~DescriptorCheck() {
    check(lowest_free_descriptor() == lowest_free_, "every descriptor is closed again");
}

CapturedStreams::Stream::Stream(std::FILE*& stream)
    : replaced(stream)
    , before(stream) {
    stream = ::open_memstream(&data, &size);
    check(stream != nullptr, "there is memory for a stream");
}

CapturedStreams::Stream::~Stream() {
    std::fclose(replaced);
    replaced = before;
    std::free(data);
}

std::string CapturedStreams::Stream::text() const {
    std::fflush(replaced);
    return {data, size};
}

CapturedStreams::CapturedStreams()
    : out_(stdout)
    , err_(stderr) {}

CapturedStreams::~CapturedStreams() = default;

void replace_file(const char* file, std::string_view bytes) {
    const int fd = ::open(file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    check(fd >= 0 && ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
          "the file can be written");
    ::close(fd);
}

} // namespace qx::fuzz

int LLVMFuzzerInitialize(int* /*argc*/, char*** argv) {
    qx::test::enter_world(*argv);
    // A target must not wait for input from a terminal.
    qx::fuzz::check(std::freopen("/dev/null", "r", stdin) != nullptr, "standard input is empty");
    return 0;
}
