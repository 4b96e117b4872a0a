#include "qx/log.h"

#include "base/install.h"
#include "install_directory.h"
#include "log_file.h"
#include "qx/escape.h"
#include "qx/io.h"
#include "qx/last_error.h"
#include "qx/scope_guard.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <pthread.h>
#include <unistd.h>
#include <utility>

namespace qx::log {
namespace {

constexpr string_view kPlaceholder = "yyyy-mm-dd HH:MM:SS.__m ____pid __lvl ";
constexpr int kNothing = -1;

struct Level {
    const char* setting; // value of QXLOG_LEVEL
    const char* name;    // name in a log line
};

constexpr Level kLevels[] = {
    {"error", "ERROR"},
    {"warn", "WARN"},
    {"info", "INFO"},
    {"debug", "DEBUG"},
};

// can_log() reads only the threshold, without the mutex. A closed log therefore has the threshold
// kNothing. The mutex guards the file, whose descriptor changes on rotation.
struct Logger {
    std::atomic<int> threshold{kNothing};
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    log_file file;
};

Logger& logger() {
    static Logger the_logger;
    return the_logger;
}

int wanted_threshold() {
    const char* const wanted = std::getenv("QXLOG_LEVEL");
    if (string_view(wanted) == "none") {
        return kNothing;
    }
    int index = 0;
    for (const Level& candidate : kLevels) {
        if (string_view(wanted) == candidate.setting) {
            return index;
        }
        ++index;
    }
    return static_cast<int>(level::warning);
}

void fill_placeholder(std::string& line, level severity) {
    if (string_view(line.data(), std::min(line.size(), kPlaceholder.size())) != kPlaceholder) {
        return;
    }
    timespec now{};
    std::tm local{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    ::localtime_r(&now.tv_sec, &local);
    char filled[128];
    const int length =
        std::snprintf(filled, sizeof filled, "%04d-%02d-%02d %02d:%02d:%02d.%03d %7d %-5s ",
                      local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                      local.tm_min, local.tm_sec, static_cast<int>(now.tv_nsec / 1000000),
                      static_cast<int>(::getpid()), kLevels[static_cast<int>(severity)].name);
    if (length == static_cast<int>(kPlaceholder.size())) {
        line.replace(0, kPlaceholder.size(), filled, kPlaceholder.size());
    }
}

// Untrusted values must neither forge a line nor control the terminal of a reader.
void escape_controls(std::string& line) {
    const std::size_t end = line.ends_with('\n') ? 1 : 0;
    const string_view text(line.data(), line.size() - end);
    if (!is_printable_ascii(text)) {
        line = shown(text) + std::string(end, '\n');
    }
}

bool open(log_file& log, const char* name) {
    const std::string state = install_directory() + QX_STATE_DIRECTORY;
    const std::string directory = install_directory() + QX_LOG_DIRECTORY;
    const std::string file = directory + "/" + name + ".log";
    if (log.open(file)) {
        return true;
    }
    if (errno != ENOENT) {
        return false;
    }
    if (!io::make_directory(state.c_str())) {
        return errno == ENOENT; // no agent is installed, so there is no log
    }
    return io::make_directory(directory.c_str()) && log.open(file);
}

} // namespace

bool start(const char* name, const char* /*second*/) {
    Logger& self = logger();
    const bool is_started = open(self.file, name);
    if (!is_started) {
        set_io_error(install_directory() + QX_LOG_DIRECTORY + "/" + name + ".log", errno);
    }
    self.threshold = self.file.is_open() ? wanted_threshold() : kNothing;
    return is_started;
}

bool can_log(contract::log_mask /*mask*/, level severity) {
    return static_cast<int>(severity) <= logger().threshold;
}

void print(contract::log_mask mask, level severity, std::string&& line) {
    if (!can_log(mask, severity)) {
        return;
    }
    std::string filled(std::move(line));
    fill_placeholder(filled, severity);
    escape_controls(filled);
    Logger& self = logger();
    ::pthread_mutex_lock(&self.mutex);
    const scope_guard unlock([&] { ::pthread_mutex_unlock(&self.mutex); });
    self.file.append(filled);
}

void stop() {
    Logger& self = logger();
    self.threshold = kNothing;
    self.file.close();
}

std::string detail::vformat_line(fmt::string_view line, fmt::format_args args) {
    return fmt::vformat(line, args);
}

} // namespace qx::log
