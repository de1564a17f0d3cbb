// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <stop_token>
#include <utility>
#include <vector>

#include "platform/BluetoothSources.h"
#include "support/FakeSubscribers.h"

namespace corvanta::test {

/// Holds whoever comes to it, from `hold` to `release`, and counts them. Any thread.
class FakeDoor {
  public:
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
    /// Waits until the given number have come.
    bool await(int count, std::chrono::seconds deadline = std::chrono::seconds(20)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, deadline, [&] { return comers_ >= count; });
    }
    /// Waits until the given number have said that they are done with whatever stands behind the door.
    bool awaitLeavers(int count, std::chrono::seconds deadline = std::chrono::seconds(20)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, deadline, [&] { return leavers_ >= count; });
    }
    int comers() const {
        const std::lock_guard guard(mutex_);
        return comers_;
    }

    void enter(const std::stop_token& stop = {}) {
        std::unique_lock lock(mutex_);
        ++comers_;
        changed_.notify_all();
        changed_.wait(lock, stop, [this] { return !isHeld_; });
    }

    void leave() {
        const std::lock_guard guard(mutex_);
        ++leavers_;
        changed_.notify_all();
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable_any changed_;
    bool isHeld_ = false;
    int comers_ = 0;
    int leavers_ = 0;
};

/// No test changes the answer while it may be asked for.
class FakeBluetoothQuery final : public BluetoothQuery {
  public:
    using Devices = std::optional<std::vector<PairedBluetoothDevice>>;

    std::optional<BluetoothAnswer> knownDevices() override { return answerOf(known); }
    std::optional<BluetoothAnswer> pairedDevices() override {
        questions.enter();
        auto given = answerOf(paired);
        questions.leave();
        return given;
    }
    std::unique_ptr<Subscription> subscribe(const std::function<void()>& onChange) override {
        return subscribers.add(onChange);
    }

    /// From now on it has to be asked.
    void answer(Devices devices) {
        known.reset();
        paired = std::move(devices);
    }

    Devices known = std::vector<PairedBluetoothDevice>();
    Devices paired;
    bool isCertain = false;  ///< what it answers
    FakeDoor questions;
    FakeSubscribers<> subscribers;

  private:
    std::optional<BluetoothAnswer> answerOf(const Devices& devices) const {
        if (!devices) return std::nullopt;
        return BluetoothAnswer{.devices = *devices, .isCertain = isCertain};
    }
};

/// No test changes the devices while they may be read.
class FakeBluetoothFallback final : public BluetoothFallback {
  public:
    std::vector<ListedBluetoothDevice> readConnectedDevices(std::chrono::seconds limit,
                                                            const std::stop_token& stop) override {
        lastLimit = limit;
        readings.enter(stop);
        return devices;
    }

    std::vector<ListedBluetoothDevice> devices;
    std::chrono::seconds lastLimit{-1};
    FakeDoor readings;
};

/// No test changes the batteries while they may be read.
class FakePeripheralBatterySource final : public PeripheralBatterySource {
  public:
    std::vector<PeripheralBattery> readServiceBatteries() override { return services; }
    std::vector<PeripheralBattery> readDriverBatteries() override { return drivers; }
    std::unique_ptr<Subscription> subscribe(const std::function<void()>& onChange) override {
        return subscribers.add(onChange);
    }

    std::vector<PeripheralBattery> services;
    std::vector<PeripheralBattery> drivers;
    FakeSubscribers<> subscribers;
};

}  // namespace corvanta::test
