// A client that speaks the broker's protocol directly, and the simulated broker as a process.
#pragma once

#include "process.h"
#include "protocol.h"

#include <optional>

namespace qx::test {

/// The simulated broker of this build. Serves the install directory kInstallDir.
class Simulator : public Process {
public:
    /// Starts the simulator with `scenario` (JSON text, or "" for none) and the additional
    /// command-line arguments `words`, and waits until it listens.
    explicit Simulator(std::string_view scenario = "", const std::vector<std::string>& words = {});
};

/// Writes `scenario` to a file and returns the file's path. Overwrites the previous scenario.
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
    /// failure and returns the bytes so far if no byte arrives for kPatience.
    std::string read(std::size_t count) const;
    /// Returns the text of the next frame, or nullopt if the broker closes the connection.
    std::optional<std::string> read_frame() const;
    /// Waits for a byte or EOF. Returns true on EOF.
    bool ends() const { return read(1).empty(); }
    /// Returns whether a read would not block: bytes wait, or the broker has closed the connection.
    bool has_input() const;

    /// Subscribes to a broker event. Adds a test failure if the broker refuses.
    void subscribe(const std::string& event) const;

private:
    int fd_ = -1;
};

/// Sends a command on a new connection. Returns the answer, or "(no answer)" if there is none.
std::string ask(const std::string& name, const std::string& data = "null");

} // namespace qx::test
