// Times single functions of the tool and the library: reading frames, parsing command lines,
// splitting strings, building requests, and skipping log lines below the log level.
#include "command_line.h"
#include "event_text.h"
#include "frame_reader.h"
#include "qx/cl.h"
#include "qx/log.h"
#include "request.h"
#include "wire.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>

namespace {

// Returns whole frames with events of `size` bytes, as many as fit into one receive buffer.
std::string stream_of_frames(std::size_t size) {
    constexpr std::size_t received = std::size_t{64} * 1024;
    event_template events = event_template_make(size);
    const auto length = static_cast<std::int32_t>(size);
    std::string stream;
    for (std::uint32_t number = 0; stream.size() + sizeof length + size <= received; ++number) {
        stream.append(reinterpret_cast<const char*>(&length), sizeof length);
        stream.resize(stream.size() + size);
        event_write(&events, number, stream.data() + stream.size() - size);
    }
    std::free(events.text);
    return stream;
}

void frame_reader(benchmark::State& state) {
    const std::string stream = stream_of_frames(static_cast<std::size_t>(state.range(0)));
    qxplix::frame_reader reader{};
    std::int64_t frames = 0;
    while (state.KeepRunning()) {
        qxplix::byte_range in{stream.data(), stream.size()};
        while (in.size > 0) {
            if (qxplix::frame_reader_feed(reader, in) != qxplix::frame_state::complete) {
                state.SkipWithError("a frame was not complete");
                return;
            }
            std::free(qxplix::frame_reader_take(reader));
            ++frames;
        }
    }
    state.SetItemsProcessed(frames);
}
BENCHMARK(frame_reader)->Arg(200)->Arg(20'000);

void command_line(benchmark::State& state, std::vector<std::string> words) {
    std::vector<char*> argv;
    argv.reserve(words.size());
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    while (state.KeepRunning()) {
        const qx::manage::CommandLine options;
        if (!qx::cl::parse(static_cast<int>(argv.size()), argv.data())) {
            state.SkipWithError("the command line was rejected");
            return;
        }
    }
}
BENCHMARK_CAPTURE(command_line, plain, {"qxagent-manage", "is_enabled"});
BENCHMARK_CAPTURE(command_line, options,
                  {"qxagent-manage", "set_device_online_status", "--mac", "02:00:5e:10:00:01",
                   "--interface=br-lan1", "--is_online", "true", "--ip",
                   "192.168.1.20,fe80::5eff:fe10:1", "--hostname", "printer"});

void split(benchmark::State& state) {
    const std::string text = "br-wan:wan,br-lan1:lan,br-lan2:lan,br-lan3:lan,br-guest:lan";
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(qx::string_view(text).split(","));
    }
}
BENCHMARK(split);

const std::vector<std::string> kAddresses{"02:00:5e:10:00:01", "02:00:5e:10:00:[0-9|a-f]2",
                                          "02:00:5e:10:00:03", "02:00:5e:10:00:[2|4]0"};

void request_document(benchmark::State& state) {
    while (state.KeepRunning()) {
        const qx::json_ptr array = qx::manage::text_array("--addresses", kAddresses);
        benchmark::DoNotOptimize(qx::manage::serialise(array));
    }
}
BENCHMARK(request_document);

// Times the work before the first system call, which fails because the descriptor is invalid.
void request_on_the_wire(benchmark::State& state) {
    constexpr int closed = -1;
    const qx::json_ptr array = qx::manage::text_array("--addresses", kAddresses);
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(
            qxplix::send_request(closed, "command", "set_va_exclusions", array.get()));
    }
}
BENCHMARK(request_on_the_wire);

void log_line_not_written(benchmark::State& state) {
    const std::string device = "02:00:5e:10:00:01";
    while (state.KeepRunning()) {
        QX_LOG(qx::log::level::debug, "device {:s} is {:d}", device, 1);
    }
}
BENCHMARK(log_line_not_written);

} // namespace

BENCHMARK_MAIN();
