#include "broker_client.h"

#include <algorithm>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace qx::test {
namespace {

std::vector<std::string> simulator_words(std::string_view scenario,
                                         const std::vector<std::string>& words) {
    std::vector<std::string> all = {QX_SIMULATOR, "--install-dir", kInstallDir};
    if (!scenario.empty()) {
        all.insert(all.end(), {"--scenario", scenario_file(scenario)});
    }
    all.insert(all.end(), words.begin(), words.end());
    return all;
}

} // namespace

Simulator::Simulator(std::string_view scenario, const std::vector<std::string>& words)
    : Process(simulator_words(scenario, words)) {
    wait_for_output("listening");
}

std::string scenario_file(std::string_view scenario) {
    const char* const file = "/etc/scenario.json";
    write_file(file, scenario);
    return file;
}

BrokerClient::BrokerClient()
    : fd_(broker_socket(::connect)) {
    const timeval patience{kPatience.count(), 0};
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}

BrokerClient::~BrokerClient() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

void BrokerClient::send(std::string_view bytes) const {
    EXPECT_TRUE(send_all(fd_, bytes)) << "the broker does not accept a request";
}

void BrokerClient::end_sending() const {
    ::shutdown(fd_, SHUT_WR);
}

std::string BrokerClient::read(std::size_t count) const {
    std::string bytes(count, '\0');
    std::size_t filled = 0;
    while (filled < count) {
        const ssize_t got = ::recv(fd_, bytes.data() + filled, count - filled, 0);
        if (got < 0) {
            EXPECT_EQ(errno, ECONNRESET) << "the broker sends nothing";
        }
        if (got <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
}

std::optional<std::string> BrokerClient::read_frame() const {
    const std::string prefix = read(4);
    std::int32_t length = 0;
    if (prefix.size() != sizeof length) {
        return std::nullopt;
    }
    std::memcpy(&length, prefix.data(), sizeof length);
    return read(static_cast<std::size_t>(std::max(length, 0)));
}

bool BrokerClient::has_input() const {
    pollfd polled{fd_, POLLIN, 0};
    return ::poll(&polled, 1, 0) > 0;
}

void BrokerClient::subscribe(const std::string& event) const {
    send(subscription(event));
    EXPECT_EQ(read_frame(), kOk);
}

std::string ask(const std::string& name, const std::string& data) {
    const BrokerClient client;
    client.send(command(name, data));
    return client.read_frame().value_or("(no answer)");
}

} // namespace qx::test
