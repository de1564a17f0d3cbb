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

    /// How long an owner that goes waits for its tasks: what hangs must not keep the program from quitting.
    static constexpr std::chrono::seconds closingTime{2};

    explicit BackgroundTasks(ThreadSetup& threadSetup);

    /// Starts a task; requesting stop on what is returned cancels it. Where the system refuses a thread the
    /// task does not run and one line is logged.
    std::stop_source start(std::string label, Body body);

    /// Starts a task that has a result, and calls `finish` once on the executor's thread: with the result,
    /// or without one where the task did not run.
    template <class Result>
    std::stop_source compute(const std::string& label, std::function<Result(const std::stop_token&)> work,
                             Executor& executor, std::function<void(std::optional<Result>)> finish) {
        auto outcome = std::make_shared<Outcome<Result>>(executor, std::move(finish));
        return start(label, [work = std::move(work), outcome = std::move(outcome)](
                                const std::stop_token& stop) { outcome->result = work(stop); });
    }

    void cancelAll();

    /// True when all tasks have ended within the time.
    bool waitForAll(std::chrono::milliseconds time = closingTime);

  private:
    /// Is handed over when it goes: with the task, whether that has run or not.
    template <class Result>
    struct Outcome {
        Outcome(Executor& to, std::function<void(std::optional<Result>)> with)
            : executor(to), finish(std::move(with)) {}
        ~Outcome() {
            executor.post([finish = std::move(finish), result = std::move(result)]() mutable {
                finish(std::move(result));
            });
        }
        Outcome(const Outcome&) = delete;
        Outcome& operator=(const Outcome&) = delete;

        Executor& executor;
        std::function<void(std::optional<Result>)> finish;
        std::optional<Result> result;
    };

    struct Running {
        Mutex mutex;
        Condition ended;
        std::list<std::stop_source> tasks GUARDED_BY(mutex);
    };

    ThreadSetup& threadSetup_;
    std::shared_ptr<Running> running_ = std::make_shared<Running>();
};

}  // namespace corvanta
