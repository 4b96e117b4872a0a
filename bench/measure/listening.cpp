#include "listening.h"

#include "event_text.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace qx::bench {
namespace {

constexpr long kOneEventSize = 200;

struct Flood {
    long events;
    long size;
    const char* name;
    bool collects; ///< whether the minimal program floor_listen batches lines, as the tool does
    Target rate;
    Target processor;
};

enum { kSmaller, kLarger, kLarge, kCollecting, kFloods };

constexpr Flood kFlood[kFloods] = {
    {100'000, 200, "100 000 events of 200 B", false, {false, 0.7}, {true, 2}},
    {200'000, 200, "200 000 events of 200 B", false, {false, 0.7}, {true, 2}},
    {10'000, 20'000, "10 000 events of 20 kB", false, {false, 0.7}, {true, 2}},
    {200'000, 200, "200 000 events of 200 B, collecting floor", true, {false, 0.95}, {true, 1.15}},
};

constexpr Target kSystemCalls{true, 0.05}; ///< the limit on system calls per event

// The library returns free memory to the kernel after one second without an event. Wait longer.
constexpr std::chrono::milliseconds kQuiet{1500};

// Compares the output of a listener with the expected output, piece by piece.
class Expectation {
public:
    explicit Expectation(const Flood& flood)
        : events_(event_template_make(static_cast<std::size_t>(flood.size)))
        , text_(events_.text)
        , left_(flood.events) {
        line_ = kStart + std::string(events_.size, ' ') + "}\n";
        next_line();
    }

    [[nodiscard]] bool is_complete() const { return left_ == 0; }

    bool accept(const char* bytes, std::size_t size) {
        while (size > 0) {
            const std::size_t part = std::min(size, line_.size() - at_);
            if (left_ == 0 || std::memcmp(bytes, line_.data() + at_, part) != 0) {
                return false;
            }
            bytes += part;
            size -= part;
            at_ += part;
            if (at_ == line_.size()) {
                --left_;
                next_line();
            }
        }
        return true;
    }

private:
    static constexpr char kStart[] = "{\"event_name\": \"QX_PLIX_DEVICE_DISCOVERY\", \"data\": ";

    struct Release {
        void operator()(char* text) const { std::free(text); }
    };

    void next_line() {
        at_ = 0;
        event_write(&events_, number_++, line_.data() + sizeof kStart - 1);
    }

    event_template events_;
    std::unique_ptr<char, Release> text_;
    std::string line_;
    std::size_t at_ = 0;
    std::uint32_t number_ = 0;
    long left_;
};

void read_flood(const Launched& program, const Flood& flood, const std::string& name) {
    Expectation expected(flood);
    static char bytes[64 * 1024];
    while (!expected.is_complete()) {
        const ssize_t got = ::read(program.output(), bytes, sizeof bytes);
        if (got <= 0 || !expected.accept(bytes, static_cast<std::size_t>(got))) {
            fail(name + ": wrong output for " + flood.name);
        }
    }
}

// Returns the resident memory of a program in KiB.
double resident(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    const std::string label = "VmRSS:";
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(label, 0) == 0) {
            return std::stod(line.substr(label.size()));
        }
    }
    fail("cannot read the memory size of a listener");
}

// Sends SIGTERM, waits for the program to exit and returns its cost. Stores the time from the
// signal to the exit in `milliseconds`.
Cost stop(Launched& program, const Subject& subject, double& milliseconds) {
    const std::int64_t asked = now();
    ::kill(program.pid(), SIGTERM);
    const Cost cost = program.finish();
    milliseconds = static_cast<double>(cost.end_ns - asked) / 1e6;
    char more = 0;
    const bool ended_well =
        subject.ends_on_signal ? cost.wait_status == 0 : WIFSIGNALED(cost.wait_status);
    if (!ended_well || ::read(program.output(), &more, 1) != 0) {
        fail(subject.name + ": did not end as expected");
    }
    return cost;
}

// The values of all runs of one flood, indexed by [subject][run].
struct Series {
    explicit Series(std::size_t subjects)
        : rate(subjects)
        , wall(subjects)
        , processor(subjects)
        , peak(subjects)
        , kept(subjects) {}

    std::vector<std::vector<double>> rate;      // events per second
    std::vector<std::vector<double>> wall;      // us per event
    std::vector<std::vector<double>> processor; // us per event
    std::vector<std::vector<double>> peak;      // KiB
    std::vector<std::vector<double>> kept;      // resident KiB, kQuiet after the flood
};

using Words = std::vector<std::string>;

Words command(const Subjects& subjects, std::size_t index, const Flood& flood) {
    Words words = subjects[index].listen;
    if (index == 0 && flood.collects) {
        words.emplace_back("collect");
    }
    return words;
}

void run(const Broker& broker, const Subjects& subjects, std::size_t index, const Flood& flood,
         bool look_at_memory, Series& series) {
    const Subject& subject = subjects[index];
    Launched program(command(subjects, index, flood));
    broker.wait_for_subscription();
    const std::int64_t start = now();
    broker.burst(flood.events, flood.size);
    read_flood(program, flood, subject.name);
    const double seconds = static_cast<double>(now() - start) / 1e9;
    if (look_at_memory) {
        std::this_thread::sleep_for(kQuiet);
        series.kept[index].push_back(resident(program.pid()));
    }
    double milliseconds = 0;
    const Cost cost = stop(program, subject, milliseconds);
    const auto events = static_cast<double>(flood.events);
    series.rate[index].push_back(events / seconds);
    series.wall[index].push_back(seconds * 1e6 / events);
    series.processor[index].push_back(static_cast<double>(cost.processor_us) / events);
    series.peak[index].push_back(static_cast<double>(cost.peak_kib));
}

// Divides each value of `larger` by the value of the same subject and run in `smaller`.
std::vector<std::vector<double>> growth(const std::vector<std::vector<double>>& larger,
                                        const std::vector<std::vector<double>>& smaller) {
    std::vector<std::vector<double>> result = larger;
    for (std::size_t i = 0; i < result.size(); ++i) {
        for (std::size_t run = 0; run < result[i].size(); ++run) {
            result[i][run] /= smaller[i][run];
        }
    }
    return result;
}

std::vector<Row> make_rows(const std::vector<Series>& series) {
    const Target grown{true, 1.15};
    std::vector<Row> rows;
    for (int i = 0; i < kFloods; ++i) {
        const std::string name = kFlood[i].name;
        const Series& one = series[static_cast<std::size_t>(i)];
        rows.push_back(make_row("events per second, " + name, "", 0, one.rate, true,
                                {kFlood[i].rate, kFlood[i].rate}));
        rows.push_back(make_row("processor time per event, " + name, "us", 2, one.processor, true,
                                {kFlood[i].processor, kFlood[i].processor}));
        rows.push_back(make_row("peak memory, " + name, "KiB", 0, one.peak, true, {}));
    }
    const Series& larger = series[kLarger];
    const Series& smaller = series[kSmaller];
    rows.push_back(make_row("memory 1.5 s after 200 000 events", "KiB", 0, larger.kept, true, {}));
    rows.push_back(make_row("time per event, 200 000 over 100 000", "", 2,
                            growth(larger.wall, smaller.wall), false, {grown, grown}));
    rows.push_back(make_row("processor time per event, 200 000 over 100 000", "", 2,
                            growth(larger.processor, smaller.processor), false, {grown, grown}));
    return rows;
}

} // namespace

std::vector<Row> measure_listening(const Broker& broker, const Subjects& subjects, int runs) {
    std::vector<Series> series(kFloods, Series(subjects.size()));
    for (int i = 0; i < runs; ++i) {
        std::fprintf(stderr, "\rlistening: run %d of %d", i + 1, runs);
        for (std::size_t flood = 0; flood < kFloods; ++flood) {
            const bool look_at_memory = i == 0 && flood == kLarger;
            for (std::size_t subject = 0; subject < subjects.size(); ++subject) {
                run(broker, subjects, subject, kFlood[flood], look_at_memory, series[flood]);
            }
        }
    }
    std::fputc('\n', stderr);
    return make_rows(series);
}

Row count_calls_while_listening(const Broker& broker, const Subjects& subjects,
                                const std::string& scratch) {
    const Flood& flood = kFlood[kCollecting];
    std::vector<std::vector<double>> calls(subjects.size());
    for (std::size_t subject = 0; subject < subjects.size(); ++subject) {
        // With -D the listener keeps the launched process id, so SIGTERM reaches the listener, not
        // strace.
        Words words{"/usr/bin/env", "strace", "-D",         "-f", "-qq",
                    "-c",           "-U",     "calls,name", "-o", scratch};
        const Words listener = command(subjects, subject, flood);
        words.insert(words.end(), listener.begin(), listener.end());
        Launched program(words);
        broker.wait_for_subscription();
        broker.burst(flood.events, flood.size);
        read_flood(program, flood, subjects[subject].name);
        double milliseconds = 0;
        stop(program, subjects[subject], milliseconds);
        calls[subject].push_back(strace_sum(scratch) / static_cast<double>(flood.events));
    }
    return make_row(std::string("system calls per event, ") + flood.name, "", 3, calls, false,
                    {kSystemCalls, kSystemCalls});
}

Row measure_stop(const Broker& broker, const Subjects& subjects, int runs) {
    const Target target{true, 50};
    const Flood one{1, kOneEventSize, "one event", false, {}, {}};
    std::vector<std::vector<double>> times(subjects.size());
    for (int i = 0; i < runs; ++i) {
        for (std::size_t subject = 0; subject < subjects.size(); ++subject) {
            Launched program(subjects[subject].listen);
            broker.wait_for_subscription();
            broker.burst(one.events, one.size);
            read_flood(program, one, subjects[subject].name);
            double milliseconds = 0;
            stop(program, subjects[subject], milliseconds);
            times[subject].push_back(milliseconds);
        }
    }
    return make_row("SIGTERM to exit while listening", "ms", 2, times, false, {target, target});
}

} // namespace qx::bench
