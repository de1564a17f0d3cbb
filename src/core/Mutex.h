// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <utility>

#include "core/ThreadAnnotations.h"

namespace corvanta {

/// A mutex that clang's thread-safety analysis understands.
class CAPABILITY("mutex") Mutex {
  public:
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }

  private:
    friend class Condition;

    std::mutex mutex_;
};

/// The same, for an owner whose operations call one another under the lock.
class CAPABILITY("mutex") RecursiveMutex {
  public:
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }

  private:
    std::recursive_mutex mutex_;
};

/// Holds a Mutex or RecursiveMutex for a scope.
template <class M>
class SCOPED_CAPABILITY LockGuard {
  public:
    explicit LockGuard(M& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~LockGuard() RELEASE() { mutex_.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

  private:
    M& mutex_;
};

/// A condition that is waited for under a Mutex. Waits return spuriously: callers loop over their condition.
class Condition {
  public:
    void notifyOne() { condition_.notify_one(); }
    void notifyAll() { condition_.notify_all(); }

    /// Releases the mutex, waits for a notification and takes the mutex again.
    void wait(Mutex& mutex) REQUIRES(mutex) {
        Borrowed lock(mutex);
        condition_.wait(lock.native);
    }

    /// The same, but for at most the given time. False when the time passed without a notification.
    template <class Rep, class Period>
    bool waitFor(Mutex& mutex, std::chrono::duration<Rep, Period> time) REQUIRES(mutex) {
        Borrowed lock(mutex);
        return condition_.wait_for(lock.native, time) == std::cv_status::no_timeout;
    }

  private:
    /// The caller's lock in the form that the standard condition wants.
    struct Borrowed {
        explicit Borrowed(Mutex& mutex) : native(mutex.mutex_, std::adopt_lock) {}
        ~Borrowed() { native.release(); }
        Borrowed(const Borrowed&) = delete;
        Borrowed& operator=(const Borrowed&) = delete;
        std::unique_lock<std::mutex> native;
    };

    std::condition_variable condition_;
};

/// A condition whose waits end when a stop is requested, too. Its notifications cost a little more.
class StoppableCondition {
  public:
    void notifyOne() { condition_.notify_one(); }
    void notifyAll() { condition_.notify_all(); }

    /// Releases the mutex, waits for a notification or for `stop`, and takes the mutex again.
    void wait(Mutex& mutex, std::stop_token stop) REQUIRES(mutex) {
        // The predicate is true from its second evaluation on, which makes this a single wait.
        condition_.wait(mutex, std::move(stop),
                        [woken = false]() mutable { return std::exchange(woken, true); });
    }

  private:
    std::condition_variable_any condition_;
};

}  // namespace corvanta
