// POSIX mutexes with annotations for clang's thread-safety analysis.
#pragma once

#include <pthread.h>

#if defined(__clang__)
#define QX_ANNOTATE(x) __attribute__((x))
#else
#define QX_ANNOTATE(x)
#endif
#define QX_GUARDED_BY(m) QX_ANNOTATE(guarded_by(m))
#define QX_REQUIRES(m) QX_ANNOTATE(requires_capability(m))

namespace qxplix {

/// Unlike std::mutex, needs no C++ runtime.
class QX_ANNOTATE(capability("mutex")) mutex {
public:
    constexpr mutex() = default;
    mutex(const mutex&) = delete;
    mutex& operator=(const mutex&) = delete;

    /// Reinitialises the mutex in a forked child: the owner may be a thread of the parent.
    void renew() { ::pthread_mutex_init(&native_, nullptr); }

    void lock() QX_ANNOTATE(acquire_capability()) { ::pthread_mutex_lock(&native_); }
    void unlock() QX_ANNOTATE(release_capability()) { ::pthread_mutex_unlock(&native_); }

private:
    pthread_mutex_t native_ = PTHREAD_MUTEX_INITIALIZER;
};

/// A mutex that one thread can lock and unlock in a loop without starving others: if a thread
/// waits, the unlocking thread cannot relock the mutex first.
class QX_ANNOTATE(capability("mutex")) fair_mutex {
public:
    constexpr fair_mutex() = default;
    fair_mutex(const fair_mutex&) = delete;
    fair_mutex& operator=(const fair_mutex&) = delete;

    void lock() QX_ANNOTATE(acquire_capability()) {
        ::pthread_mutex_lock(&turn_);
        ::pthread_mutex_lock(&native_);
        ::pthread_mutex_unlock(&turn_);
    }
    void unlock() QX_ANNOTATE(release_capability()) { ::pthread_mutex_unlock(&native_); }

    void renew() {
        renew_turn();
        ::pthread_mutex_init(&native_, nullptr);
    }
    /// Reinitialises turn_ in a forked child: a waiting thread of the parent may have held it.
    /// Leaves native_ unchanged, because the forking thread may hold the mutex.
    void renew_turn() { ::pthread_mutex_init(&turn_, nullptr); }

    /// Tells the thread-safety analysis that the calling thread holds the mutex.
    void assert_held() QX_ANNOTATE(assert_capability(this)) {}

private:
    pthread_mutex_t turn_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_t native_ = PTHREAD_MUTEX_INITIALIZER;
};

template <typename Mutex>
class QX_ANNOTATE(scoped_lockable) mutex_guard {
public:
    explicit mutex_guard(Mutex& guarded) QX_ANNOTATE(acquire_capability(guarded))
        : mutex_(guarded) {
        mutex_.lock();
    }
    mutex_guard(const mutex_guard&) = delete;
    mutex_guard& operator=(const mutex_guard&) = delete;
    ~mutex_guard() QX_ANNOTATE(release_capability()) { mutex_.unlock(); }

private:
    Mutex& mutex_;
};

} // namespace qxplix
