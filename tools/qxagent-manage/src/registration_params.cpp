#include "registration_params.h"

#include "base/retry.h"

#include <cstring>
#include <unistd.h>

namespace qx::manage {
namespace {

constexpr std::size_t kMostInput = std::size_t{1024} * 1024;

std::optional<Failure> read_standard_input(std::string& input) {
    char bytes[4096];
    ssize_t got = 0;
    do {
        got = qx::io::uninterrupted([&] { return ::read(STDIN_FILENO, bytes, sizeof bytes); });
        if (got < 0) {
            return system_failure(message::input_is_unreadable);
        }
        input.append(bytes, static_cast<std::size_t>(got));
        if (input.size() > kMostInput) {
            return Failure{message::input_is_too_long};
        }
    } while (got > 0);
    return std::nullopt;
}

// Rejects a line with a zero byte, which would truncate the value.
std::optional<Pair> split_line(qx::string_view line) {
    const std::size_t equals = line.find("=");
    if (equals == qx::string_view::npos || std::memchr(line.data(), '\0', line.size()) != nullptr) {
        return std::nullopt;
    }
    return Pair{line.substr(0, equals), line.substr(equals + 1)};
}

} // namespace

RegistrationParams::RegistrationParams(const std::vector<std::string>& elements) {
    if (elements.size() != 1 || elements.front() != "-") {
        for (const std::string& element : elements) {
            pairs_.push_back(split_pair(element, "="));
        }
        return;
    }
    failure_ = read_standard_input(input_);
    for (const qx::string_view line : qx::string_view(input_).split("\n")) {
        if (!line.empty()) {
            pairs_.push_back(split_line(line));
        }
    }
}

} // namespace qx::manage
