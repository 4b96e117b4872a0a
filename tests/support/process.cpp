#include "process.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qx::test {
namespace {

using Clock = std::chrono::steady_clock;

void close_fd(int& fd) {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

[[noreturn]] void become(const std::vector<std::string>& argv,
                         const std::map<std::string, std::string>& environment) {
    for (const auto& [name, value] : environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> words;
    words.reserve(argv.size() + 1);
    for (const std::string& word : argv) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    ::execvp(words[0], words.data());
    std::perror(words[0]);
    ::_exit(127);
}

} // namespace

std::chrono::milliseconds since(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

std::vector<int> ending_signals() {
    std::vector<int> all = {SIGHUP,  SIGINT,  SIGQUIT,   SIGUSR1, SIGUSR2, SIGPIPE, SIGALRM,
                            SIGTERM, SIGXCPU, SIGVTALRM, SIGPROF, SIGIO,   SIGPWR};
#ifdef SIGSTKFLT // MIPS does not define it
    all.push_back(SIGSTKFLT);
#endif
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
        all.push_back(signal);
    }
    return all;
}

Process::Process(const std::vector<std::string>& argv,
                 const std::map<std::string, std::string>& environment) {
    ::signal(SIGPIPE, SIG_IGN);
    int pipes[3][2];
    for (auto& ends : pipes) {
        require(::pipe2(ends, O_CLOEXEC) == 0, "pipe2");
    }
    auto& [in, out, err] = pipes;
    pid_ = ::fork();
    if (pid_ == 0) {
        ::signal(SIGPIPE, SIG_DFL);
        ::dup2(in[0], 0);
        ::dup2(out[1], 1);
        ::dup2(err[1], 2);
        become(argv, environment);
    }
    require(pid_ > 0, "fork"); // kill(2) with -1 would end every process of the user
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    in_ = in[1];
    out_.fd = out[0];
    err_.fd = err[0];
}

Process::~Process() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    close_fd(in_);
    close_fd(out_.fd);
    close_fd(err_.fd);
}

void Process::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(in_, text.data(), text.size());
        if (written < 0) {
            ADD_FAILURE() << "the program does not read its input";
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void Process::close_input() {
    close_fd(in_);
}

void Process::close_output() {
    close_fd(out_.fd);
}

bool Process::pump(Clock::time_point deadline) {
    pollfd polled[2] = {{out_.fd, POLLIN, 0}, {err_.fd, POLLIN, 0}};
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if ((out_.fd < 0 && err_.fd < 0) || left.count() <= 0) {
        return false;
    }
    if (::poll(polled, 2, static_cast<int>(left.count())) <= 0) {
        return errno == EINTR;
    }
    Stream* const streams[2] = {&out_, &err_};
    for (int i = 0; i < 2; ++i) {
        if (polled[i].revents == 0) {
            continue;
        }
        char bytes[65536];
        const ssize_t got = ::read(polled[i].fd, bytes, sizeof bytes);
        if (got > 0) {
            streams[i]->text.append(bytes, static_cast<std::size_t>(got));
        } else {
            close_fd(streams[i]->fd);
        }
    }
    return true;
}

bool Process::reads(const Stream& stream, std::string_view text, std::size_t times,
                    Clock::time_point deadline) {
    std::size_t from = 0;
    while (times > 0) {
        const std::size_t found = stream.text.find(text, from);
        if (found != std::string::npos) {
            from = found + text.size();
            --times;
            continue;
        }
        // Search only new output next time, plus the last bytes, where `text` may begin.
        from = std::max(from, stream.text.size() - std::min(stream.text.size(), text.size() - 1));
        if (!pump(deadline)) {
            return false;
        }
    }
    return true;
}

bool Process::wait_for(const Stream& stream, std::string_view text, std::size_t times) {
    if (reads(stream, text, times, Clock::now() + kPatience)) {
        return true;
    }
    ADD_FAILURE() << "no '" << text << "' in the output:\n" << out_.text << err_.text;
    return false;
}

bool Process::reads_output(std::string_view text, std::size_t times,
                           std::chrono::milliseconds time) {
    return reads(out_, text, times, Clock::now() + time);
}

bool Process::wait_for_output(std::string_view text, std::size_t times) {
    return wait_for(out_, text, times);
}

bool Process::wait_for_error(std::string_view text) {
    return wait_for(err_, text, 1);
}

void Process::signal(int number) const {
    ::kill(pid_, number);
}

bool Process::ends_within(std::chrono::milliseconds time) const {
    int fd = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0));
    pollfd polled = {fd, POLLIN, 0};
    const int count = ::poll(&polled, 1, static_cast<int>(time.count()));
    close_fd(fd);
    return count == 1;
}

Outcome Process::stop(int number) {
    signal(number);
    return finish();
}

Outcome Process::finish() {
    const auto deadline = Clock::now() + kPatience;
    while (pump(deadline)) {
    }
    if (Clock::now() >= deadline) {
        ADD_FAILURE() << "the program did not end";
        ::kill(pid_, SIGKILL);
    }
    int how = 0;
    ::waitpid(pid_, &how, 0);
    pid_ = -1;
    return {.status = WIFEXITED(how) ? WEXITSTATUS(how) : -1,
            .signal = WIFSIGNALED(how) ? WTERMSIG(how) : 0,
            .out = out_.text,
            .err = err_.text};
}

void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << "status " << outcome.status << ", signal " << outcome.signal << "\n"
         << outcome.out << outcome.err;
}

Outcome run(const std::vector<std::string>& argv,
            const std::map<std::string, std::string>& environment) {
    Process process(argv, environment);
    process.close_input();
    return process.finish();
}

std::string output_of(const std::vector<std::string>& argv,
                      const std::map<std::string, std::string>& environment) {
    const Outcome outcome = run(argv, environment);
    EXPECT_EQ(outcome.status, 0) << ::testing::PrintToString(outcome);
    return outcome.out;
}

Outcome run_tool(std::vector<std::string> words,
                 const std::map<std::string, std::string>& environment) {
    words.insert(words.begin(), QX_TOOL);
    return run(words, environment);
}

} // namespace qx::test
