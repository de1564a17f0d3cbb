// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/WorkerPool.h"

#include <chrono>
#include <system_error>

#include "core/Log.h"

namespace corvanta {
namespace {

constexpr auto patience = std::chrono::milliseconds(5);

}  // namespace

WorkerPool::WorkerPool(int threads, ThreadSetup& threadSetup, const std::string& label) {
    try {
        for (int i = 0; i < threads; ++i) {
            threads_.emplace_back([this, &threadSetup, label](const std::stop_token& poolStop) {
                threadSetup.enterUtilityThread(label);
                work(poolStop);
            });
        }
    } catch (const std::system_error& error) {
        logLine(std::string("Could not start a worker thread: ") + error.what());
    }
}

WorkerPool::~WorkerPool() = default;

void WorkerPool::runAll(std::span<const Job> jobs, const std::stop_token& stop) {
    if (jobs.empty()) return;
    if (threads_.empty()) {
        for (const Job& job : jobs) {
            if (!stop.stop_requested()) job();
        }
        return;
    }
    {
        LockGuard guard(mutex_);
        jobs_ = jobs;
        next_ = 0;
        unfinished_ = jobs.size();
        jobsStop_ = stop;
    }
    jobsAvailable_.notifyOne();

    LockGuard guard(mutex_);
    while (unfinished_ > 0) {
        if (next_ == jobs_.size()) {
            jobsFinished_.wait(mutex_);
        } else if (!jobsFinished_.waitFor(mutex_, patience)) {
            jobsAvailable_.notifyAll();
        }
    }
    jobs_ = {};
    next_ = 0;
}

void WorkerPool::work(const std::stop_token& poolStop) {
    mutex_.lock();
    while (!poolStop.stop_requested()) {
        if (next_ == jobs_.size()) {
            jobsAvailable_.wait(mutex_, poolStop);
            continue;
        }
        const Job& job = jobs_[next_++];
        const bool skip = jobsStop_.stop_requested();
        mutex_.unlock();
        if (!skip) job();
        mutex_.lock();
        if (--unfinished_ == 0) {
            // Told without the lock, which the one that wakes needs at once.
            mutex_.unlock();
            jobsFinished_.notifyOne();
            mutex_.lock();
        }
    }
    mutex_.unlock();
}

}  // namespace corvanta
