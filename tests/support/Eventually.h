// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <future>

namespace corvanta::test {

/// How long a test waits for what comes at once on an idle machine.
inline constexpr int patience = 60'000;  // milliseconds

/// Serves this process's events until the condition holds. False when it never did in the time.
bool eventually(const std::function<bool()>& condition, int milliseconds = patience);

/// Runs `work` on a thread of its own, as the program would, and serves the main thread's events meanwhile.
template <class Work>
auto onWorker(Work work) {
    auto result = std::async(std::launch::async, std::move(work));
    eventually([&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return result.get();
}

}  // namespace corvanta::test
