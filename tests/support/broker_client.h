// The broker's wire, bare: a client that sends what it is told and shows what comes back, and the
// simulated broker that it talks to.
#pragma once

#include "process.h"
#include "protocol.h"

#include <optional>

namespace qx::test {

/// The simulated broker of this build, serving the world's install directory.
class Simulator : public Process {
public:
    /// Starts it with `scenario` (JSON text, or "" for none) and further `words`, and waits until
    /// it listens.
    explicit Simulator(std::string_view scenario = "", const std::vector<std::string>& words = {});
};

/// Writes `scenario` to a file of this world and returns its name.
std::string scenario_file(std::string_view scenario);

/// One connection to the broker.
class BrokerClient {
public:
    BrokerClient();
    BrokerClient(const BrokerClient&) = delete;
    BrokerClient& operator=(const BrokerClient&) = delete;
    ~BrokerClient();

    /// Sends bytes as they stand.
    void send(std::string_view bytes) const;
    /// Says that nothing more will be sent.
    void end_sending() const;

    /// The next `count` bytes, or fewer when the broker closes the connection. Fails after
    /// kPatience.
    std::string read(std::size_t count) const;
    /// The text of the next frame; nothing when the connection ends.
    std::optional<std::string> read_frame() const;
    /// True when the broker closes the connection and has sent nothing more.
    bool ends() const { return read(1).empty(); }
    /// True when there are bytes, or an end, to read now.
    bool has_input() const;

    /// Subscribes to a broker event; a failed expectation when it is refused.
    void subscribe(const std::string& event) const;

private:
    int fd_ = -1;
};

/// The answer to a command on a connection of its own.
std::string ask(const std::string& name, const std::string& data = "null");

} // namespace qx::test
