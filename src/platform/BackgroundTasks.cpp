// SPDX-License-Identifier: Apache-2.0
#include "platform/BackgroundTasks.h"

#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "core/Log.h"

namespace corvanta {

BackgroundTasks::BackgroundTasks(ThreadSetup& threadSetup) : threadSetup_(threadSetup) {}

std::stop_source BackgroundTasks::start(std::string label, Body body) {
    std::list<std::stop_source> entry(1);
    const auto position = entry.begin();
    std::stop_source stop = entry.front();
    {
        LockGuard guard(running_->mutex);
        running_->tasks.splice(running_->tasks.end(), entry);
    }
    const auto end = [running = running_, position] {
        LockGuard guard(running->mutex);
        running->tasks.erase(position);
        running->ended.notifyAll();
    };
    try {
        std::thread([&threadSetup = threadSetup_, label = std::move(label), body = std::move(body),
                     token = stop.get_token(), end]() mutable {
            threadSetup.enterUtilityThread(label);
            body(token);
            body = nullptr;  // what it holds goes before the task counts as ended
            end();
        }).detach();
    } catch (const std::system_error& error) {
        end();
        logLine(std::string("Could not start a background task: ") + error.what());
    }
    return stop;
}

void BackgroundTasks::cancelAll() {
    // Copied first: requesting stop runs callbacks, and none may run under the lock.
    std::vector<std::stop_source> tasks;
    {
        LockGuard guard(running_->mutex);
        tasks.assign(running_->tasks.begin(), running_->tasks.end());
    }
    for (std::stop_source& task : tasks) task.request_stop();
}

bool BackgroundTasks::waitForAll(std::chrono::milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    LockGuard guard(running_->mutex);
    while (!running_->tasks.empty()) {
        const auto left = deadline - std::chrono::steady_clock::now();
        if (left <= left.zero()) return false;
        running_->ended.waitFor(running_->mutex, left);
    }
    return true;
}

}  // namespace corvanta
