// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/DriveHealthSource.h"
#include "platform/NetCounterSource.h"
#include "platform/VolumeCapacitySource.h"

namespace corvanta::test {

/// Gives the readings that were queued, then repeats the last one.
class FakeNetCounterSource final : public NetCounterSource {
  public:
    using Reading = std::optional<std::vector<InterfaceReading>>;

    bool readInterfaces(std::vector<InterfaceReading>& interfaces) override {
        interfaces.clear();
        if (!queue.empty()) {
            last_ = std::move(queue.front());
            queue.pop_front();
        }
        if (!last_) return false;
        interfaces = *last_;
        return true;
    }

    std::deque<Reading> queue;

  private:
    Reading last_;
};

/// Any thread, as long as no test changes `capacity` meanwhile.
class FakeVolumeCapacitySource final : public VolumeCapacitySource {
  public:
    VolumeCapacity readRootVolume() override {
        ++readings;
        return capacity;
    }

    VolumeCapacity capacity;
    std::atomic<int> readings = 0;
};

/// Answers at once, or, after `hold`, when the test lets it or the reading is called off.
class FakeDriveHealthSource final : public DriveHealthSource {
  public:
    using Reports = std::optional<std::vector<DriveReport>>;

    Reports readDrives(std::chrono::seconds limit, const std::stop_token& stop) override {
        std::unique_lock lock(mutex_);
        limits_.push_back(limit);
        changed_.notify_all();
        changed_.wait(lock, stop, [this] { return !isHeld_; });
        if (!stop.stop_requested()) return reports_;
        ++calledOff_;
        changed_.notify_all();
        return std::nullopt;
    }

    void setReports(Reports reports) {
        const std::lock_guard guard(mutex_);
        reports_ = std::move(reports);
    }
    void hold() {
        const std::lock_guard guard(mutex_);
        isHeld_ = true;
    }
    void release() {
        {
            const std::lock_guard guard(mutex_);
            isHeld_ = false;
        }
        changed_.notify_all();
    }

    /// Waits until the given number of readings have begun.
    bool awaitReadings(std::size_t count, std::chrono::seconds deadline = std::chrono::seconds(20)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, deadline, [&] { return limits_.size() >= count; });
    }

    /// Waits until the given number of readings have seen that they are called off.
    bool awaitCalledOff(std::size_t count, std::chrono::seconds deadline = std::chrono::seconds(20)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, deadline, [&] { return calledOff_ >= count; });
    }
    std::size_t calledOff() const {
        const std::lock_guard guard(mutex_);
        return calledOff_;
    }

    /// The limits of all readings so far.
    std::vector<std::chrono::seconds> limits() const {
        const std::lock_guard guard(mutex_);
        return limits_;
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable_any changed_;
    bool isHeld_ = false;
    std::size_t calledOff_ = 0;
    Reports reports_;
    std::vector<std::chrono::seconds> limits_;
};

}  // namespace corvanta::test
