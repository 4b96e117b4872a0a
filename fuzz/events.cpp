// Subscribes to a broker that sends, refuses, hangs, disconnects and returns in any order. The
// input is a sequence of steps, which also do the work of the event thread: no such thread runs.

#include "fake_broker.h"
#include "heap.h"
#include "input.h"
#include "qx_plix.h"
#include "registrar.h"
#include "state.h"

#include <cstring>
#include <poll.h>
#include <vector>

namespace {

using qx::fuzz::check;
using qx::fuzz::framed;

std::size_t noted = 0;

void note(const char* event_json, void* user_data) {
    check(user_data == &noted, "a callback gets its subscriber's user data");
    noted += std::strlen(event_json) + 1;
}

/// The broker, connections and pipes that the steps use.
struct Scene {
    qx::fuzz::FakeBroker broker;
    std::vector<int> connections;
    std::vector<int> pipes;
};

int pick(const std::vector<int>& from, std::uint8_t choice) {
    return from.empty() ? -1 : from[choice % from.size()];
}

void subscribe(Scene& scene, std::uint8_t argument) {
    int fd = -1;
    const bool piped = (argument & 8U) != 0;
    const auto type = static_cast<qx_plix_event_type>(argument & 7U);
    if (qx_plix_subscribe(type, note, &noted, piped ? &fd : nullptr) != 0) {
        return;
    }
    scene.connections.push_back(scene.broker.latest);
    if (piped) {
        scene.pipes.push_back(fd);
    }
}

void read_pipe(const Scene& scene, std::uint8_t argument) {
    const int fd = pick(scene.pipes, argument);
    pollfd polled{fd, POLLIN, 0};
    if (::poll(&polled, 1, 0) > 0 && (polled.revents & POLLIN) != 0) {
        qx_plix_read_event_fd(fd, argument % 2);
    }
}

/// Sends `bytes` on the connection that `argument` picks. Then closes the broker's end if `hang_up`
/// is set.
void deliver(Scene& scene, std::uint8_t argument, const std::string& bytes, bool hang_up = false) {
    const int fd = pick(scene.connections, argument);
    if (fd >= 0) {
        qx::fuzz::FakeBroker::Connection& connection = scene.broker.connections[fd];
        connection.to_client += bytes;
        connection.stays_open = connection.stays_open && !hang_up;
        qxplix::registrar_process_events_on_conn(fd);
    }
}

void look_after_lost(Scene& scene, std::uint8_t argument) {
    scene.broker.clock_ahead_ms += std::int64_t{argument} * 10;
    qxplix::registrar_finish_pass();
    if (scene.broker.latest >= 0) {
        scene.connections.push_back(scene.broker.latest);
    }
}

void step(Scene& scene, qx::fuzz::Input& input) {
    const std::uint8_t what = input.byte();
    const std::uint8_t argument = input.byte();
    switch (what % 9) {
    case 0:
        return subscribe(scene, argument);
    case 1:
        return deliver(scene, argument, framed(input.until('\n')));
    case 2:
        return deliver(scene, argument, input.text(argument / 8U));
    case 3:
        return deliver(scene, argument, "", true);
    case 4:
        return look_after_lost(scene, argument);
    case 5:
        return read_pipe(scene, argument);
    case 6:
        return qx_plix_unsubscribe(static_cast<qx_plix_event_type>(argument % 8U));
    case 7:
        scene.broker.answer = framed(input.until('\n'));
        return;
    default:
        scene.broker.refuses = (argument & 1U) != 0;
    }
}

} // namespace

/// Input: the largest number of bytes per send or receive, then the steps (see step()).
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const qx::fuzz::DescriptorCheck descriptors;
    qx::fuzz::Input input(data, size);
    Scene scene;
    scene.broker.piece = input.byte();
    scene.broker.stays_open = true;
    scene.broker.answer = framed(R"({"status": 0})");
    qxplix::registrar_init();
    qxplix::set_initialised(true);
    qxplix::registrar_set_backlog_limit(100);
    while (!input.empty()) {
        step(scene, input);
        qxplix::registrar_finish_pass();
    }
    qxplix::registrar_uninit();
    if (qxplix::registrar_was_emptied()) {
        qxplix::return_free_memory();
    }
    qxplix::set_initialised(false);
    return 0;
}
