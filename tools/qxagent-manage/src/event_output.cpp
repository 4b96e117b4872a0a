#include "event_output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace qx::manage {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{1};

// Texts are freed one by one as they are printed, and the last is used again unless it is long.
constexpr std::size_t kFull = std::size_t{64} * 1024;
constexpr std::size_t kLong = 2 * kFull;

int poll_again(pollfd* polled, nfds_t count, int timeout) {
    int result = 0;
    do {
        result = ::poll(polled, count, timeout);
    } while (result < 0 && errno == EINTR);
    return result;
}

// What standard output, being ready, takes without waiting: any pipe this much, an empty one all
// that it holds.
std::size_t room() {
    int unread = 0;
    if (::ioctl(STDOUT_FILENO, FIONREAD, &unread) != 0 || unread != 0) {
        return PIPE_BUF;
    }
    return static_cast<std::size_t>(std::max(::fcntl(STDOUT_FILENO, F_GETPIPE_SZ), PIPE_BUF));
}

// Whole lines, or a part of a long one.
string_view next_piece(string_view text) {
    const std::size_t most = text.size() <= PIPE_BUF ? PIPE_BUF : room();
    if (text.size() <= most) {
        return text;
    }
    const void* const end = ::memrchr(text.data(), '\n', most);
    const char* const after =
        end == nullptr ? text.data() + most : static_cast<const char*>(end) + 1;
    return {text.data(), static_cast<std::size_t>(after - text.data())};
}

} // namespace

void EventOutput::add(const json_t* document, std::size_t expected_size) {
    if (texts_.empty() || texts_.back().size() >= kFull) {
        texts_.emplace_back();
    }
    append_json(texts_.back(), document, expected_size);
}

EventOutput::Result EventOutput::print() {
    Result result = Result::printed;
    for (OutputText& text : texts_) {
        if (result == Result::printed) {
            result = print(text);
        }
        if (&text != &texts_.back() || text.capacity() > kLong) {
            text = OutputText();
        }
    }
    if (!texts_.empty()) {
        texts_.erase(texts_.begin(), texts_.end() - 1);
        texts_.front().clear();
    }
    return result;
}

EventOutput::Result EventOutput::print(const OutputText& text) {
    for (string_view left(text.data(), text.size()); !left.empty();) {
        if (!reader_takes_more()) {
            return Result::stopped;
        }
        const string_view piece = next_piece(left);
        std::fwrite(piece.data(), 1, piece.size(), stdout);
        if (std::fflush(stdout) != 0) {
            return Result::failed;
        }
        left = left.substr(piece.size());
    }
    return Result::printed;
}

// A write would wait for a reader that stands still with the stop signals blocked, and so for ever.
bool EventOutput::reader_takes_more() {
    pollfd polled[] = {{STDOUT_FILENO, POLLOUT, 0}, {stop_fd_, POLLIN, 0}};
    if (poll_again(polled, std::size(polled), -1) < 0 || polled[0].revents != 0) {
        return true;
    }
    const auto now = Clock::now();
    if (!last_moment_) {
        last_moment_ = now + kPatience;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*last_moment_ - now);
    return left.count() > 0 && poll_again(polled, 1, static_cast<int>(left.count())) != 0;
}

} // namespace qx::manage
