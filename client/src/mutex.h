// POSIX mutexes whose use clang checks: a type says which of its members a mutex guards.
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

/// A default mutex, usable without being created when it is a static object.
class QX_ANNOTATE(capability("mutex")) mutex {
public:
    constexpr mutex() = default;
    mutex(const mutex&) = delete;
    mutex& operator=(const mutex&) = delete;

    /// For a mutex that comes and goes with what it guards. 0 or -1.
    int create() { return ::pthread_mutex_init(&native_, nullptr) == 0 ? 0 : -1; }
    void destroy() { ::pthread_mutex_destroy(&native_); }

    void lock() QX_ANNOTATE(acquire_capability()) { ::pthread_mutex_lock(&native_); }
    void unlock() QX_ANNOTATE(release_capability()) { ::pthread_mutex_unlock(&native_); }

private:
    pthread_mutex_t native_ = PTHREAD_MUTEX_INITIALIZER;
};

/// Holds a mutex for a scope.
class QX_ANNOTATE(scoped_lockable) mutex_guard {
public:
    explicit mutex_guard(mutex& guarded) QX_ANNOTATE(acquire_capability(guarded))
        : mutex_(guarded) {
        mutex_.lock();
    }
    mutex_guard(const mutex_guard&) = delete;
    mutex_guard& operator=(const mutex_guard&) = delete;
    ~mutex_guard() QX_ANNOTATE(release_capability()) { mutex_.unlock(); }

private:
    mutex& mutex_;
};

} // namespace qxplix
