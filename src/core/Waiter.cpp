// SPDX-License-Identifier: Apache-2.0
#include "core/Waiter.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace corvanta {

bool SystemWaiter::wait(double seconds, std::stop_token stop) {
    std::mutex mutex;
    std::condition_variable_any changed;
    std::unique_lock lock(mutex);
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                               std::chrono::duration<double>(seconds));
    changed.wait_until(lock, stop, deadline, [] { return false; });
    return !stop.stop_requested();
}

}  // namespace corvanta
