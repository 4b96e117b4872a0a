// An agent as a client finds it, and subscribers that note what they get.
#pragma once

#include "qx_plix.h"
#include "test_broker.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <poll.h>

namespace qx::test {

/// A broker that runs in the fallback install directory.
class Agent : public ::testing::Test {
protected:
    // Until the broker has met every earlier connection, and only so many are left.
    void settle(std::size_t connections) {
        EXPECT_EQ(qx_plix_reapply_firewall_rules(), 0);
        broker.wait_for_connections(connections);
        broker.forget_requests();
    }

    LockedVersionFile version_file{kInstallDir};
    TestBroker broker;
};

/// The same, with the client library started.
class StartedClient : public Agent {
protected:
    void SetUp() override { ASSERT_EQ(qx_plix_init(), 0); }
    void TearDown() override { qx_plix_uninit(); }
};

/// A text that a call stored for its caller.
class Text {
public:
    Text() = default;
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { std::free(text_); }

    char** out() {
        std::free(text_);
        text_ = nullptr;
        return &text_;
    }
    [[nodiscard]] std::string str() const { return text_ == nullptr ? "(none)" : text_; }

private:
    char* text_ = nullptr;
};

/// The events that a subscription delivered. `note` is its callback, the object its user data.
class Inbox {
public:
    static void note(const char* event_json, void* inbox) {
        auto* const self = static_cast<Inbox*>(inbox);
        const std::lock_guard lock(self->mutex_);
        self->events_.emplace_back(event_json);
        self->changed_.notify_all();
    }

    [[nodiscard]] std::vector<std::string> events() const {
        const std::lock_guard lock(mutex_);
        return events_;
    }

    /// Waits for so many events from the library's thread.
    bool wait_for(std::size_t count) const {
        std::unique_lock lock(mutex_);
        const bool came =
            changed_.wait_for(lock, kPatience, [&] { return events_.size() >= count; });
        EXPECT_TRUE(came) << "only " << events_.size() << " events came";
        return came;
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> events_;
};

inline bool is_readable(int fd, std::chrono::milliseconds patience) {
    pollfd polled{fd, POLLIN, 0};
    return ::poll(&polled, 1, static_cast<int>(patience.count())) > 0 &&
           (polled.revents & POLLIN) != 0;
}

/// A value of `drain` for which read_until() reads portions of 1000 bytes.
inline constexpr int kPortions = -1;

/// Reads a notification descriptor, as often as it says so, until so many events have been noted.
inline bool read_until(int fd, int drain, const Inbox& inbox, std::size_t count) {
    while (inbox.events().size() < count) {
        const auto read = [&] {
            return drain == kPortions ? qx_plix_read_events(fd, 1000)
                                      : qx_plix_read_event_fd(fd, drain);
        };
        if (!is_readable(fd, kPatience) || read() != 0) {
            ADD_FAILURE() << "no notification after " << inbox.events().size() << " events";
            return false;
        }
    }
    return true;
}

} // namespace qx::test
