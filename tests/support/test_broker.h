// A broker inside the test process. It records every request and sends prepared answers.
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

/// The broker's reaction to a request.
struct Reply {
    std::string bytes;
    bool hang_up = false; ///< whether to close the connection afterwards
};

/// Listens on the broker's socket until stop() or destruction. By default, answers {"status": 0}
/// and lets the client close the connection. Any thread may call the members, except that start()
/// and stop() must not run concurrently.
class TestBroker {
public:
    TestBroker();
    TestBroker(const TestBroker&) = delete;
    TestBroker& operator=(const TestBroker&) = delete;
    ~TestBroker();

    /// Stops and restarts the broker. stop() closes all connections and keeps the prepared answers
    /// and recorded requests.
    void stop();
    void start();

    /// Sets the JSON that answers the command `name`, or the subscription to the event `name`.
    void answer(const std::string& name, std::string_view json);
    /// Like answer(), but sets arbitrary bytes. Without bytes, the broker sends no answer.
    void reply(const std::string& name, Reply reply);

    /// Returns every request since the last forget_requests(), byte for byte, with its line feed.
    std::vector<std::string> requests() const;
    void forget_requests();
    /// Waits until the broker has at least `count` requests, or exactly `count` connections or
    /// subscribers. After kPatience, returns false and adds a test failure.
    bool wait_for_requests(std::size_t count) const;
    bool wait_for_connections(std::size_t count) const;
    bool wait_for_subscribers(std::size_t count) const;

    /// Sends `json` as a frame, or `bytes` unchanged, to every subscriber of the event `name`.
    /// Blocks while a subscriber does not read.
    void emit(const std::string& name, std::string_view json);
    void emit_raw(const std::string& name, std::string_view bytes);
    /// Shuts down every connection that is subscribed to the event `name`.
    void drop_subscribers(const std::string& name);

private:
    struct Connection {
        int fd;
        std::string input;
        std::string event; ///< the subscribed event, or ""
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

/// Creates the broker's version file and locks it while the object lives. The lock belongs to the
/// open file description, so this process, too, finds the file locked.
class LockedVersionFile {
public:
    explicit LockedVersionFile(const fs::path& install_dir, std::string_view text = "1.3");

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{nullptr, std::fclose};
};

} // namespace qx::test
