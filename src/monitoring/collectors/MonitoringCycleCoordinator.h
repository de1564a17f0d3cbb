// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <utility>

namespace corvanta {

/// Admits one cycle at a time and refuses others without queueing.
///
/// Owned by the monitoring loop. Any thread.
class MonitoringCycleCoordinator {
  public:
    enum class Outcome { completed, skippedAlreadyRunning };

    /// Runs `body` unless another one is running; then returns at once without calling it.
    template <class Body>
    Outcome run(Body&& body) {
        bool expected = false;
        if (!isRunning_.compare_exchange_strong(expected, true)) return Outcome::skippedAlreadyRunning;
        const Clear clear{isRunning_};
        std::forward<Body>(body)();
        return Outcome::completed;
    }

    bool isRunning() const { return isRunning_; }

  private:
    struct Clear {
        std::atomic<bool>& flag;
        ~Clear() { flag = false; }
    };

    std::atomic<bool> isRunning_ = false;
};

}  // namespace corvanta
