// Runs fast_broker and controls it through pipes. Every function ends the benchmark on failure.
#pragma once

#include "base/descriptor.h"
#include "program.h"

namespace qx::bench {

class Broker {
public:
    /// Starts the broker with its files below `install_dir` and waits until it listens.
    explicit Broker(const std::string& install_dir);
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;
    ~Broker();

    /// Waits until the broker has accepted one more subscription.
    void wait_for_subscription() const;

    /// Sends `count` events of `size` bytes to all subscribers.
    void burst(long count, long size) const;

private:
    void expect(const std::string& wanted) const;

    pid_t pid_ = -1;
    io::descriptor console_;
    io::descriptor output_;
};

} // namespace qx::bench
