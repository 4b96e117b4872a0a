// Fixtures for the tests of the client library: a broker, and a recorder of events.
#pragma once

#include "qx_plix.h"
#include "test_broker.h"

#include <cstring>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace qx::test {

inline constexpr auto kStarted = QX_PLIX_QXAGENT_STARTED;
inline constexpr auto kScan = QX_PLIX_VA_STATUS_CHANGED;
inline const std::string kStartedName = "qxagent_started";
inline const std::string kScanName = "va_status_changed";

/// Records the texts that callbacks receive.
class Inbox {
public:
    /// Each callback records the text and then calls `work`, unless `work` is null.
    explicit Inbox(std::function<void()> work = nullptr)
        : work_(std::move(work)) {}

    /// A callback for subscriptions and warnings. Its user data is the Inbox.
    static void note(const char* text, void* inbox) {
        auto& self = *static_cast<Inbox*>(inbox);
        {
            const std::lock_guard lock(self.mutex_);
            self.events_.emplace_back(text);
            self.changed_.notify_all();
        }
        if (self.work_) {
            self.work_();
        }
    }

    [[nodiscard]] std::vector<std::string> events() const {
        const std::lock_guard lock(mutex_);
        return events_;
    }

    [[nodiscard]] std::size_t count() const {
        const std::lock_guard lock(mutex_);
        return events_.size();
    }

    /// Waits until other threads have delivered `count` texts in total.
    void wait_for(std::size_t count) const {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, kPatience, [&] { return events_.size() >= count; }))
            << "only " << events_.size() << " events arrived";
    }

private:
    std::function<void()> work_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> events_;
};

/// A test with a broker that serves the default install directory.
class Agent : public ::testing::Test {
protected:
    /// Waits until the broker has accepted every earlier connection and only `connections` of them
    /// remain. Then forgets the recorded requests.
    void settle(std::size_t connections) {
        EXPECT_EQ(qx_plix_reapply_firewall_rules(), 0);
        broker.wait_for_connections(connections);
        broker.forget_requests();
    }

    /// Subscribes with a notification descriptor and returns it.
    static int subscribe(qx_plix_event_type type, Inbox& inbox) {
        int fd = -1;
        EXPECT_EQ(qx_plix_subscribe(type, Inbox::note, &inbox, &fd), 0);
        return fd;
    }

    /// Subscribes without a descriptor; the event thread runs the callbacks.
    static void listen(qx_plix_event_type type, Inbox& inbox) {
        EXPECT_EQ(qx_plix_subscribe(type, Inbox::note, &inbox, nullptr), 0);
    }

    LockedVersionFile version_file{kInstallDir};
    TestBroker broker;
};

/// An Agent with the client library started.
class StartedClient : public Agent {
protected:
    void SetUp() override { ASSERT_EQ(qx_plix_init(), 0); }
    void TearDown() override { qx_plix_uninit(); }
};

/// Opens the stat file of the calling thread for sleeps(). The caller owns the descriptor.
inline int open_own_stat() {
    return ::open("/proc/thread-self/stat", O_RDONLY | O_CLOEXEC);
}

/// Returns whether a thread is in an interruptible sleep. `stat` is a descriptor of its stat file.
inline bool sleeps(int stat) {
    char text[128] = {};
    return ::pread(stat, text, sizeof text - 1, 0) > 0 && std::strstr(text, ") S ") != nullptr;
}

/// Returns the number of unread bytes in a pipe.
inline int bytes_in(int fd) {
    int bytes = -1;
    EXPECT_EQ(::ioctl(fd, FIONREAD, &bytes), 0);
    return bytes;
}

inline bool is_readable(int fd, std::chrono::milliseconds patience = kPatience) {
    pollfd polled{fd, POLLIN, 0};
    return ::poll(&polled, 1, static_cast<int>(patience.count())) > 0 &&
           (polled.revents & POLLIN) != 0;
}

/// Calls `read` whenever the descriptor is readable, until the inbox holds `count` events.
inline void read_until(int fd, const Inbox& inbox, std::size_t count,
                       const std::function<int(int)>& read) {
    while (inbox.count() < count) {
        ASSERT_TRUE(is_readable(fd) && read(fd) == 0)
            << "no notification, or a failed read, after " << inbox.count() << " events";
    }
}

/// Reads until the inbox holds `count` events. Each read delivers all waiting events if `drain` is
/// 1, otherwise one.
inline void read_until(int fd, int drain, const Inbox& inbox, std::size_t count) {
    read_until(fd, inbox, count,
               [drain](int ready) { return qx_plix_read_event_fd(ready, drain); });
}

} // namespace qx::test
