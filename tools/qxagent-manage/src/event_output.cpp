#include "event_output.h"

#include "termination_signals.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qx::manage {
namespace {

// The size of a full buffer: the default capacity of a pipe.
constexpr std::size_t kFull = std::size_t{64} * 1024;

// Returns as many whole lines as fit into `most` bytes, or the first line if it is longer.
string_view first_piece(string_view text, std::size_t most) {
    if (text.size() <= most) {
        return text;
    }
    const void* end = ::memrchr(text.data(), '\n', most);
    if (end == nullptr) {
        end = std::memchr(text.data() + most, '\n', text.size() - most);
    }
    return text.substr(0,
                       static_cast<std::size_t>(static_cast<const char*>(end) - text.data()) + 1);
}

// Writes once. If standard output is non-blocking and full, waits until it is writable and fails
// with EINTR, so that the caller retries.
ssize_t write_some(string_view piece) {
    const ssize_t written = ::write(STDOUT_FILENO, piece.data(), piece.size());
    if (written < 0 && errno == EAGAIN) {
        // Another process that shares the open file description may have set O_NONBLOCK.
        pollfd output{STDOUT_FILENO, POLLOUT, 0};
        ::poll(&output, 1, -1);
        errno = EINTR;
    }
    return written;
}

// Removes an incomplete last line of `unfinished` bytes from a regular file after a failed write.
// Keeps errno.
void cut_file(std::size_t unfinished) {
    const int before = errno;
    struct stat status {};
    const off_t end = ::lseek(STDOUT_FILENO, 0, SEEK_CUR);
    const bool is_file = ::fstat(STDOUT_FILENO, &status) == 0 && S_ISREG(status.st_mode);
    const off_t line = end - static_cast<off_t>(unfinished);
    if (is_file && status.st_size == end && ::ftruncate(STDOUT_FILENO, line) == 0) {
        ::lseek(STDOUT_FILENO, line, SEEK_SET);
    }
    errno = before;
}

std::size_t unfinished_line(string_view written) {
    const void* const end = ::memrchr(written.data(), '\n', written.size());
    const char* const line = end == nullptr ? written.data() : static_cast<const char*>(end) + 1;
    return static_cast<std::size_t>(written.data() + written.size() - line);
}

} // namespace

EventOutput::EventOutput() {
    struct stat status {};
    const bool known = ::fstat(STDOUT_FILENO, &status) == 0;
    if (known && S_ISFIFO(status.st_mode)) {
        pipe_size_ = static_cast<std::size_t>(std::max(::fcntl(STDOUT_FILENO, F_GETPIPE_SZ), 0));
    }
    takes_all_ = known && !S_ISFIFO(status.st_mode) && !S_ISSOCK(status.st_mode);
}

std::size_t EventOutput::room() const {
    // The printed line of a 200-byte event is about 25 % longer than the event.
    return (kFull - std::min(lines_.size(), kFull)) * 3 / 4;
}

bool EventOutput::is_full() const {
    return lines_.size() > kFull / 2;
}

void EventOutput::add(string_view event_name, json_t* data) {
    append_json(lines_, data, event_name);
}

EventOutput::Result EventOutput::print() {
    if (lines_.size() == 0) {
        return Result::printed;
    }
    const InterruptedByStop by_stop;
    const string_view all(lines_.data(), lines_.size());
    std::size_t done = 0;
    while (done < all.size()) {
        if (stop_is_overdue()) {
            return Result::stopped;
        }
        const string_view rest = all.substr(done);
        const ssize_t written = write_some(first_piece(rest, piece_limit(rest.size())));
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno != EINTR) {
            cut_file(unfinished_line(all.substr(0, done)));
            return Result::failed;
        }
    }
    drop_lines();
    return stop_has_come() ? Result::stopped : Result::printed;
}

// Returns the maximum size of the next piece. A write larger than the pipe's free space would block
// in the middle of a line, unless it has at most PIPE_BUF bytes and so is atomic.
//
// `used` is an upper bound on the occupied space. Pages in a pipe can be partly filled, but the
// kernel merges small writes, so two adjacent pages together received more than one page of data.
// Only the first page can be partly drained. The other pages therefore occupy at most 2 * unread
// bytes and one more page, and the first page adds a page.
std::size_t EventOutput::piece_limit(std::size_t left) const {
    constexpr std::size_t least = PIPE_BUF;
    int unread = 0;
    if (takes_all_ || left <= least) {
        return left;
    }
    if (pipe_size_ == 0 || ::ioctl(STDOUT_FILENO, FIONREAD, &unread) != 0) {
        return least;
    }
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t used = unread == 0 ? 0 : 2 * (static_cast<std::size_t>(unread) + page);
    return std::max(pipe_size_ - std::min(used, pipe_size_), least);
}

// Clears the buffer, and frees it if a single long event has enlarged it.
void EventOutput::drop_lines() {
    if (lines_.capacity() > 2 * kFull) {
        lines_ = OutputText();
    }
    lines_.clear();
}

} // namespace qx::manage
