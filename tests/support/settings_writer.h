// A process that writes settings and that a test can kill at any moment. For test programs that
// link the utility layer.
#pragma once

#include "forked.h"
#include "qx/settings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace qx::test {

/// A process that increments the value of its own key in a loop and reports its progress.
class SettingsWriter {
public:
    /// Starts the process. `number` selects the key; `pause` is the time between updates in
    /// microseconds.
    explicit SettingsWriter(int number, useconds_t pause = 0)
        : key_("/writer/" + std::to_string(number))
        , pause_(pause)
        , progress_(static_cast<Progress*>(::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE,
                                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
        start();
    }

    void start() {
        process_ = std::make_unique<Forked>([this] {
            int result = setMgmt::init();
            while (result == 0) {
                progress_->begun = progress_->done + 1;
                result = setMgmt::setKey(key_, std::to_string(progress_->begun));
                progress_->done = progress_->begun.load();
                ::usleep(pause_);
            }
            return result;
        });
    }

    /// Kills the process. Then checks that the store has every update that the process finished,
    /// and none that it had not begun.
    void kill_and_check() {
        process_->kill(SIGKILL);
        process_->wait();
        ASSERT_EQ(setMgmt::init(), 0);
        const int value = setMgmt::getKeyValue(key_, 0);
        ASSERT_GE(value, progress_->done) << "an update is lost";
        ASSERT_LE(value, progress_->begun);
        progress_->done = value;
    }

    [[nodiscard]] int written() const { return progress_->done; }

private:
    struct Progress {
        std::atomic<int> begun;
        std::atomic<int> done;
    };

    std::string key_;
    useconds_t pause_;
    Progress* progress_;
    std::unique_ptr<Forked> process_;
};

} // namespace qx::test
