#include "request.h"

#include "base/descriptor.h"
#include "program.h"

#include <fcntl.h>
#include <unistd.h>

namespace qx::bench {
namespace {

constexpr Target at_most(double limit) {
    return {true, limit};
}

std::string read_all(int fd) {
    std::string text;
    char bytes[4096];
    for (ssize_t got = 0; (got = ::read(fd, bytes, sizeof bytes)) > 0;) {
        text.append(bytes, static_cast<std::size_t>(got));
    }
    return text;
}

Cost run(const Subject& subject, const std::string& expected) {
    Launched program(subject.request);
    const Cost cost = program.finish();
    const std::string output = read_all(program.output());
    if (cost.wait_status != 0 || output != expected) {
        fail(subject.name + ": wait status " + std::to_string(cost.wait_status) + ", printed " +
             output + "instead of " + expected);
    }
    return cost;
}

std::string output_of(const Subject& subject) {
    Launched program(subject.request);
    program.finish();
    return read_all(program.output());
}

using Words = std::vector<std::string>;

void run_counter(Words counter, const Subject& subject) {
    counter.insert(counter.end(), subject.request.begin(), subject.request.end());
    const io::descriptor null(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    expect_success(start(counter, {-1, null.get()}), counter.front());
}

double count_system_calls(const Subject& subject, const std::string& scratch) {
    run_counter({"strace", "-f", "-qq", "-c", "-U", "calls,name", "-o", scratch}, subject);
    return strace_sum(scratch);
}

double count_instructions(const Subject& subject, const std::string& scratch) {
    run_counter({"valgrind", "-q", "--tool=callgrind", "--callgrind-out-file=" + scratch}, subject);
    const std::string text = file_text(scratch);
    const std::string label = "\ntotals: ";
    const std::size_t totals = text.rfind(label);
    if (totals == std::string::npos) {
        fail("callgrind printed no total");
    }
    return std::stod(text.substr(totals + label.size()));
}

using Counter = double (*)(const Subject&, const std::string&);

std::vector<std::vector<double>> count(const Subjects& subjects, int runs,
                                       const std::string& scratch, Counter counter) {
    std::vector<std::vector<double>> values(subjects.size());
    for (int i = 0; i < runs; ++i) {
        for (std::size_t subject = 0; subject < subjects.size(); ++subject) {
            values[subject].push_back(counter(subjects[subject], scratch));
        }
    }
    return values;
}

} // namespace

std::vector<Row> measure_requests(const Subjects& subjects, int runs) {
    const std::size_t count = subjects.size();
    std::vector<std::vector<double>> wall(count);
    std::vector<std::vector<double>> processor(count);
    std::vector<std::vector<double>> memory(count);
    const std::string expected = output_of(subjects.front());
    for (const Subject& subject : subjects) {
        run(subject, expected);
    }
    for (int i = 0; i < runs; ++i) {
        for (std::size_t subject = 0; subject < count; ++subject) {
            const Cost cost = run(subjects[subject], expected);
            wall[subject].push_back(static_cast<double>(cost.end_ns - cost.start_ns) / 1e3);
            processor[subject].push_back(static_cast<double>(cost.processor_us));
            memory[subject].push_back(static_cast<double>(cost.peak_kib));
        }
    }
    return {
        make_row("one request, wall time", "us", 0, wall, true, {at_most(2.0), at_most(1.3)}),
        make_row("one request, user and system time", "us", 0, processor, true, {}),
        make_row("one request, peak memory", "KiB", 0, memory, true, {at_most(2.5), at_most(1.6)}),
    };
}

std::vector<Row> count_requests(const Subjects& subjects, int runs, const std::string& scratch) {
    const auto calls = count(subjects, runs, scratch, count_system_calls);
    const auto instructions = count(subjects, runs, scratch, count_instructions);
    return {
        make_row("one request, system calls", "", 0, calls, true, {at_most(2.8), at_most(2.2)}),
        make_row("one request, instructions", "", 0, instructions, true,
                 {at_most(3.0), at_most(1.5)}),
    };
}

} // namespace qx::bench
