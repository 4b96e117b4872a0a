#include "program.h"

#include "base/descriptor.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace qx::bench {
namespace {

constexpr int kStandardError = 2;

// Seconds that a measured program may run before SIGALRM ends the benchmark.
constexpr unsigned kPatience = 120;

} // namespace

void fail(const std::string& what) {
    std::fprintf(stderr, "bench: %s\n", what.c_str());
    std::exit(1);
}

std::string helper(const std::string& name) {
    char self[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self);
    if (length <= 0) {
        fail("cannot read /proc/self/exe");
    }
    const std::string path(self, static_cast<std::size_t>(length));
    return path.substr(0, path.rfind('/') + 1) + name;
}

std::int64_t now() {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

Pipe make_pipe() {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        fail(std::string("pipe: ") + std::strerror(errno));
    }
    return {io::descriptor(ends[0]), io::descriptor(ends[1])};
}

std::optional<std::string> read_line(int fd) {
    std::string line;
    char character = 0;
    while (::read(fd, &character, 1) == 1) {
        if (character == '\n') {
            return line;
        }
        line.push_back(character);
    }
    return std::nullopt;
}

pid_t start(const std::vector<std::string>& argv, const std::vector<int>& standard) {
    std::vector<char*> words;
    words.reserve(argv.size() + 1);
    for (const std::string& word : argv) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    for (std::size_t to = 0; to < standard.size(); ++to) {
        if (standard[to] >= 0) {
            ::posix_spawn_file_actions_adddup2(&actions, standard[to], static_cast<int>(to));
        }
    }
    pid_t pid = -1;
    const int failure =
        ::posix_spawnp(&pid, words.front(), &actions, nullptr, words.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        fail(argv.front() + ": " + std::strerror(failure));
    }
    return pid;
}

void expect_success(pid_t pid, const std::string& name) {
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fail(name + " failed, wait status " + std::to_string(status));
    }
}

std::string file_text(const std::string& name) {
    std::ifstream file(name);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

double strace_sum(const std::string& output) {
    constexpr int tries = 1000;
    for (int i = 0; i < tries; ++i) {
        // The last line holds the number, then the word "total".
        const std::string text = file_text(output);
        const std::size_t total = text.rfind(" total");
        const std::size_t line = text.rfind('\n', total);
        if (total != std::string::npos && line != std::string::npos) {
            return std::stod(text.substr(line + 1));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    fail("strace printed no total");
}

Launched::Launched(const std::vector<std::string>& argv)
    : name_(argv.front()) {
    ::alarm(kPatience);
    Pipe output = make_pipe();
    Pipe record = make_pipe();
    std::vector<std::string> words{helper("launch")};
    words.insert(words.end(), argv.begin(), argv.end());
    launcher_ = start(words, {-1, output.write.get(), kStandardError, record.write.get()});
    output_ = std::move(output.read);
    record_ = std::move(record.read);
    record.write.reset(-1);
    const std::optional<std::string> line = read_line(record_.get());
    if (!line) {
        fail(name_ + " could not be started");
    }
    pid_ = static_cast<pid_t>(std::stol(*line));
}

Launched::~Launched() {
    if (launcher_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(launcher_, nullptr, 0);
    }
}

Cost Launched::finish() {
    const std::string line = read_line(record_.get()).value_or("");
    long long numbers[4] = {};
    Cost cost{};
    if (std::sscanf(line.c_str(), "%lld %lld %lld %lld %d", &numbers[0], &numbers[1], &numbers[2],
                    &numbers[3], &cost.wait_status) != 5) {
        fail(name_ + ": the launcher reported no cost");
    }
    ::alarm(0);
    cost.start_ns = numbers[0];
    cost.end_ns = numbers[1];
    cost.processor_us = numbers[2];
    cost.peak_kib = numbers[3];
    expect_success(std::exchange(launcher_, -1), helper("launch"));
    return cost;
}

} // namespace qx::bench
