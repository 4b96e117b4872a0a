#include "input.h"

#include "world.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <jansson.h>
#include <unistd.h>

namespace qx::fuzz {

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
        // Write to the descriptor, because a Capture may have replaced the stream stderr.
        ::dprintf(STDERR_FILENO, "does not hold: %s\n", what);
        std::abort();
    }
}

bool is_json(const char* text) {
    json_t* const value = ::json_loads(text, JSON_DECODE_ANY, nullptr);
    ::json_decref(value);
    return value != nullptr;
}

DescriptorCheck::~DescriptorCheck() {
    check(lowest_free() == before_, "every descriptor is closed again");
}

int DescriptorCheck::lowest_free() {
    const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(fd);
    return fd;
}

Capture::Capture(std::FILE*& stream)
    : stream_(stream)
    , before_(stream) {
    stream = ::open_memstream(&data_, &size_);
    check(stream != nullptr, "a memory stream can be opened");
}

Capture::~Capture() {
    std::fclose(stream_);
    stream_ = before_;
    std::free(data_);
}

std::string Capture::text() const {
    std::fflush(stream_);
    return {data_, size_};
}

} // namespace qx::fuzz

int LLVMFuzzerInitialize(int* /*argc*/, char*** argv) {
    qx::test::enter_world(*argv);
    // No target may wait for input from a terminal.
    qx::fuzz::check(std::freopen("/dev/null", "r", stdin) != nullptr,
                    "standard input is redirected to /dev/null");
    return 0;
}
