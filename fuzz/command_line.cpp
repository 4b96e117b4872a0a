// Parses and runs a command line. Checks the requests, the output and the status.

#include "command_line.h"
#include "fake_broker.h"
#include "input.h"
#include "qx/error.h"
#include "qx/log.h"
#include "qx/settings.h"
#include "world.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using qx::fuzz::check;
using qx::manage::Operation;

constexpr const char* kAnswers[] = {
    R"({"status": 0})",
    R"({"status": 0, "data": {"status": 1, "x": ["\u00e4", null, 1.5]}})",
    R"({"status": 0, "data": []})",
    R"({"status": 1})",
    R"({"status": 1, "data": {"code": 2, "description": "no", "error": "why"}})",
    R"({"status": 1, "data": "text"})",
    R"({"status": 0, "data": "text"})",
    "no JSON",
};

const std::filesystem::path kLog = qx::test::kInstallDir / "var/log/fuzz.log";

bool start_log() {
    ::setenv("QXLOG_LEVEL", "debug", 1);
    std::filesystem::create_directories(qx::test::kSettingsFile.parent_path());
    return qx::log::start("fuzz", nullptr);
}

bool parse(std::vector<std::string>& words) {
    std::vector<char*> argv;
    std::transform(words.begin(), words.end(), std::back_inserter(argv),
                   [](std::string& word) { return word.data(); });
    argv.push_back(nullptr);
    return qx::cl::parse(static_cast<int>(words.size()), argv.data());
}

void check_rejection() {
    const qx::_QXErrorStorage& error = qx::_get_qxerrno();
    const std::string reason = error.second.sview().to_string();
    check(error.number == qx::error_number::bad_command_line,
          "a rejected command line sets the error number");
    const bool plain = std::none_of(reason.begin(), reason.end(), [](char byte) {
        return (byte >= '\0' && byte < ' ') || byte == '\x7f';
    });
    check(!reason.empty() && plain,
          "a rejected command line has a reason without control characters");
}

void print_usage() {
    const qx::fuzz::Capture out(stdout);
    qx::cl::print_help(stdout);
    check(out.text().starts_with("usage: "), "the usage is printed");
}

void run(const qx::manage::CommandLine& options) {
    const qx::fuzz::Capture out(stdout);
    const qx::fuzz::Capture err(stderr);
    check(qx::setMgmt::init() == 0, "the settings can be read");
    const int status = qx::manage::do_work(qx::manage::row_of(options.operation.value()), options);
    qx::setMgmt::uninit();
    check(status >= -1 && status <= 1, "the status is 0, 1 or -1");
    std::istringstream printed(out.text());
    for (std::string line; std::getline(printed, line);) {
        check(qx::fuzz::is_json(line.c_str()), "results are JSON");
    }
}

} // namespace

/// Input: the index of the broker's answer, then the words, each up to a zero byte.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool logs = start_log();
    check(logs, "the log can be started");
    // Keep the log short: a rotation would change the log's descriptor.
    std::filesystem::resize_file(kLog, 0);
    ::unlink(qx::test::kSettingsFile.c_str());
    const qx::fuzz::DescriptorCheck descriptors;
    qx::fuzz::Input input(data, size);
    qx::fuzz::FakeBroker broker;
    broker.answer = qx::fuzz::framed(kAnswers[input.byte() % std::size(kAnswers)]);
    std::vector<std::string> words{"qxagent-manage"};
    while (!input.empty()) {
        words.push_back(input.until('\0'));
    }

    const qx::manage::CommandLine options;
    if (!parse(words)) {
        check_rejection();
    } else if (options.operation.value() == Operation::help) {
        print_usage();
    } else if (options.operation.value() != Operation::listen) {
        run(options);
    }
    return 0;
}
