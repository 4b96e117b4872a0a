// A bare client of the broker, and the simulated broker as a process.
#pragma once

#include "process.h"
#include "protocol.h"

#include <optional>

namespace qx::test {

/// The simulated broker of this build, serving the install directory in the test's namespace.
class Simulator : public Process {
public:
    /// Starts the simulator with `scenario` (JSON text, or "" for none) and the additional
    /// command-line arguments `words`, and waits until it listens.
    explicit Simulator(std::string_view scenario = "", const std::vector<std::string>& words = {});
};

/// Writes `scenario` to a file in the test's namespace and returns the file's path.
std::string scenario_file(std::string_view scenario);

/// One connection to the broker.
class BrokerClient {
public:
    BrokerClient();
    BrokerClient(const BrokerClient&) = delete;
    BrokerClient& operator=(const BrokerClient&) = delete;
    ~BrokerClient();

    /// Sends `bytes` unchanged.
    void send(std::string_view bytes) const;
    /// Shuts down the sending side of the connection.
    void end_sending() const;

    /// Returns the next `count` bytes, or fewer if the broker closes the connection. Adds a test
    /// failure if no byte arrives for kPatience.
    std::string read(std::size_t count) const;
    /// Returns the text of the next frame, or nullopt if the connection ends.
    std::optional<std::string> read_frame() const;
    /// Returns whether the broker closes the connection without sending more.
    bool ends() const { return read(1).empty(); }
    /// Returns whether bytes or EOF can be read now.
    bool has_input() const;

    /// Subscribes to a broker event. Adds a test failure if the broker refuses.
    void subscribe(const std::string& event) const;

private:
    int fd_ = -1;
};

/// Sends a command on a new connection and returns the answer.
std::string ask(const std::string& name, const std::string& data = "null");

} // namespace qx::test
