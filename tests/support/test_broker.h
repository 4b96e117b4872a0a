// A broker inside the test: it notes every request and answers from a script.
#pragma once

#include "process.h"
#include "protocol.h"

#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace qx::test {

/// What the broker does with a request.
struct Reply {
    std::string bytes;
    bool hang_up = false; ///< closes the connection afterwards
};

/// Listens on the broker's socket from its construction on. Unless told otherwise it answers
/// {"status": 0} and leaves closing to the client. All members may be called at any time.
class TestBroker {
public:
    TestBroker();
    TestBroker(const TestBroker&) = delete;
    TestBroker& operator=(const TestBroker&) = delete;
    ~TestBroker();

    /// Goes away with all its connections, and comes back. What it was told and noted stays.
    void stop();
    void start();

    /// From now on answers the command, or the subscription to the event, `name` with this JSON.
    void answer(const std::string& name, std::string_view json);
    /// The same with any bytes; none at all is silence.
    void reply(const std::string& name, Reply reply);

    /// Every request so far, byte for byte, line end included.
    std::vector<std::string> requests() const;
    void forget_requests();
    /// These wait for the thing to be so; a failed expectation when it never is.
    bool wait_for_requests(std::size_t count) const;
    bool wait_for_connections(std::size_t count) const;
    bool wait_for_subscribers(std::size_t count) const;

    /// Sends an event, or any bytes, on every connection subscribed to the event `name`. Blocks
    /// while a client takes nothing.
    void emit(const std::string& name, std::string_view json);
    void emit_raw(const std::string& name, std::string_view bytes);
    /// Closes every connection subscribed to the event.
    void drop_subscribers(const std::string& name);

private:
    struct Connection {
        int fd;
        std::string input;
        std::string event; ///< what it is subscribed to, or ""
    };

    void serve();
    void accept_one();
    bool receive(Connection& connection);
    bool handle(Connection& connection, const std::string& line);
    std::size_t count_subscribers() const;
    template <typename Condition>
    bool wait_until(Condition condition, const char* what) const;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::map<std::string, Reply> replies_;
    std::vector<std::string> requests_;
    std::vector<Connection> connections_;
    int listener_ = -1;
    int wake_ = -1;
    bool stopping_ = false;
    std::thread thread_;
};

/// The broker's version file below an install directory, locked as a running broker does it, though
/// not by this process, for as long as the object lives.
class LockedVersionFile {
public:
    explicit LockedVersionFile(const fs::path& install_dir, std::string_view text = "1.3");

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{nullptr, std::fclose};
};

} // namespace qx::test
