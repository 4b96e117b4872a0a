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

// A text is closed before it has more, so that an empty pipe takes it whole. A longer one is a
// single line, and not kept.
constexpr std::size_t kFull = std::size_t{64} * 1024;

int poll_again(pollfd* polled, nfds_t count, int timeout) {
    int result = 0;
    do {
        result = ::poll(polled, count, timeout);
    } while (result < 0 && errno == EINTR);
    return result;
}

// How much standard output takes for certain without waiting: nothing unless it is an empty pipe.
std::size_t empty_pipe_size() {
    int unread = 0;
    if (::ioctl(STDOUT_FILENO, FIONREAD, &unread) != 0 || unread != 0) {
        return 0;
    }
    return static_cast<std::size_t>(std::max(::fcntl(STDOUT_FILENO, F_GETPIPE_SZ), 0));
}

// Whole lines, or a part of a long one.
string_view first_piece(string_view text, std::size_t most) {
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
    if (texts_.empty() || texts_.back().size() + expected_size > kFull) {
        make_room();
    }
    append_json(texts_.back(), document, expected_size);
}

void EventOutput::make_room() {
    const std::size_t most = texts_.empty() || failed_ ? 0 : empty_pipe_size();
    if (most > 0) {
        print_piece(most);
    }
    if (texts_.empty() || texts_.back().size() > 0) {
        is_behind_ = !texts_.empty();
        texts_.emplace_back();
        texts_.back().reserve(kFull);
    }
}

EventOutput::Result EventOutput::print() {
    while (!failed_ && !texts_.empty() && texts_.front().size() > 0) {
        if (!reader_takes_more()) {
            return Result::stopped;
        }
        // What is ready takes this much at least.
        constexpr std::size_t least = PIPE_BUF;
        const std::size_t left = texts_.front().size() - printed_;
        print_piece(left <= least ? left : std::max(empty_pipe_size(), least));
    }
    return failed_ ? Result::failed : Result::printed;
}

// Prints the beginning of what is left, and forgets the first text when it has been printed.
void EventOutput::print_piece(std::size_t most) {
    OutputText& text = texts_.front();
    const string_view piece = first_piece({text.data() + printed_, text.size() - printed_}, most);
    std::fwrite(piece.data(), 1, piece.size(), stdout);
    failed_ = std::fflush(stdout) != 0 || failed_;
    printed_ += piece.size();
    if (printed_ < text.size()) {
        return;
    }
    printed_ = 0;
    // One that was added to others lies behind them, and would keep all their memory.
    if (is_behind_ || text.capacity() > 2 * kFull) {
        texts_.pop_front();
        is_behind_ = !texts_.empty();
    } else {
        text.clear();
    }
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
