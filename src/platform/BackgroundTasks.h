// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

#include "core/Executor.h"
#include "core/Mutex.h"
#include "platform/ThreadSetup.h"

namespace corvanta {

/// Starts background tasks, each on a thread of its own, and knows which of them still run.
///
/// Owned by whoever starts them. Any thread. A task that doesn't end in time is left behind rather than
/// waited for, so a task must hold what it uses.
class BackgroundTasks {
  public:
    using Body = std::function<void(const std::stop_token&)>;

    explicit BackgroundTasks(ThreadSetup& threadSetup);

    /// Starts a task; requesting stop on what is returned cancels it. Where the system refuses a thread the
    /// task does not run and one line is logged.
    std::stop_source start(std::string label, Body body);

    /// Starts a task that has a result, and calls `finish` with it on the executor's thread. In any case it
    /// is called once: where the task did not run, without a result.
    template <class Result>
    std::stop_source compute(std::string label, std::function<Result(const std::stop_token&)> work,
                             Executor& executor, std::function<void(std::optional<Result>)> finish) {
        // Handed over when the last to know of the work forgets it.
        const auto handOver = [&executor, finish = std::move(finish)](std::optional<Result>* result) {
            executor.post([finish, result = std::move(*result)]() mutable { finish(std::move(result)); });
            delete result;
        };
        return start(std::move(label),
                     [work = std::move(work),
                      result = std::shared_ptr<std::optional<Result>>(new std::optional<Result>, handOver)](
                         const std::stop_token& stop) { *result = work(stop); });
    }

    void cancelAll();

    /// True when all tasks have ended within the time.
    bool waitForAll(std::chrono::milliseconds time);

  private:
    struct Running {
        Mutex mutex;
        Condition ended;
        std::list<std::stop_source> tasks GUARDED_BY(mutex);
    };

    ThreadSetup& threadSetup_;
    std::shared_ptr<Running> running_ = std::make_shared<Running>();
};

}  // namespace corvanta
