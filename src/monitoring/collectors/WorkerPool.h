// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "core/Mutex.h"
#include "platform/ThreadSetup.h"

namespace corvanta {

/// Kept background threads that run the jobs of one cycle.
///
/// Owned by the monitoring loop and as long-lived. `runAll` serves one caller at a time; any thread. The
/// threads are made once, since making them anew for each cycle costs several times what the jobs do.
class WorkerPool {
  public:
    using Job = std::function<void()>;

    /// Where the system refuses a thread, one line is logged and the pool does with those it has; without
    /// any, jobs run on their caller.
    WorkerPool(int threads, ThreadSetup& threadSetup, const std::string& label);
    /// Waits for the jobs in progress.
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Runs the jobs independently of each other and returns when all have ended. A job that has not begun
    /// when `stop` is requested does not run.
    ///
    /// One worker is woken and works through jobs of microseconds by itself, which spares the wake-ups of the
    /// others. When a job keeps it for longer than `patience`, the others are woken for the rest, so no job
    /// waits for a slow one.
    void runAll(std::span<const Job> jobs, const std::stop_token& stop) EXCLUDES(mutex_);

  private:
    void work(const std::stop_token& poolStop) EXCLUDES(mutex_);

    Mutex mutex_;
    StoppableCondition jobsAvailable_;
    Condition jobsFinished_;
    std::span<const Job> jobs_ GUARDED_BY(mutex_);
    std::size_t next_ GUARDED_BY(mutex_) = 0;
    std::size_t unfinished_ GUARDED_BY(mutex_) = 0;
    std::stop_token jobsStop_ GUARDED_BY(mutex_);

    std::vector<std::jthread> threads_;  // last: they use everything above
};

}  // namespace corvanta
