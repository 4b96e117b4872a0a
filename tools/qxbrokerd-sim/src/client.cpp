#include "client.h"

#include <algorithm>

namespace qx::sim {
namespace {

constexpr std::size_t kKeptCapacity = 4096;

} // namespace

std::optional<std::string_view> LineReader::next() {
    const std::size_t end = buffer_.find('\n', searched_);
    if (end == std::string::npos) {
        searched_ = buffer_.size();
        return std::nullopt;
    }
    const std::string_view line = std::string_view(buffer_).substr(taken_, end - taken_);
    taken_ = end + 1;
    searched_ = taken_;
    return line;
}

void LineReader::drop_taken() {
    buffer_.erase(0, taken_);
    if (buffer_.capacity() > std::max(kKeptCapacity, 2 * buffer_.size())) {
        buffer_.shrink_to_fit();
    }
    searched_ -= taken_;
    taken_ = 0;
}

} // namespace qx::sim
