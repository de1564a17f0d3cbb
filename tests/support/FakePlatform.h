// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Platform.h"
#include "support/FakeBluetooth.h"
#include "support/FakeNetDisk.h"
#include "support/FakeNotifications.h"
#include "support/FakeProcesses.h"
#include "support/FakeSubscribers.h"

namespace corvanta::test {

/// Both clocks, moved by hand. Any thread.
class FakeClock final : public Clock {
  public:
    Instant now() const override {
        const std::lock_guard guard(mutex_);
        return now_;
    }
    double systemUptime() const override {
        const std::lock_guard guard(mutex_);
        return uptime_;
    }
    /// Time passes on both clocks.
    void advance(double seconds) {
        const std::lock_guard guard(mutex_);
        now_ += std::chrono::duration<double>(seconds);
        uptime_ += seconds;
    }
    /// Somebody sets the wall clock.
    void setNow(Instant now) {
        const std::lock_guard guard(mutex_);
        now_ = now;
    }
    void setUptime(double uptime) {
        const std::lock_guard guard(mutex_);
        uptime_ = uptime;
    }

  private:
    mutable std::mutex mutex_;
    Instant now_ = instantFromSeconds(1'800'000'000);
    double uptime_ = 1000;
};

/// A queue that the test runs by hand, in place of the main thread's.
class ManualExecutor final : public Executor {
  public:
    void post(std::function<void()> work) override {
        {
            const std::lock_guard guard(mutex_);
            queue_.push_back(std::move(work));
        }
        changed_.notify_all();
    }

    /// Runs what is queued now and returns how much that was.
    int runQueued() {
        int count = 0;
        while (auto work = take()) {
            (*work)();
            ++count;
        }
        return count;
    }

    /// Waits until something is queued and runs one piece. False when nothing came within the deadline.
    bool runNext(std::chrono::seconds deadline = std::chrono::seconds(20)) {
        {
            std::unique_lock lock(mutex_);
            if (!changed_.wait_for(lock, deadline, [this] { return !queue_.empty(); })) return false;
        }
        auto work = take();
        if (work) (*work)();
        return work.has_value();
    }

    std::size_t queued() const {
        const std::lock_guard guard(mutex_);
        return queue_.size();
    }

  private:
    std::optional<std::function<void()>> take() {
        const std::lock_guard guard(mutex_);
        if (queue_.empty()) return std::nullopt;
        auto work = std::move(queue_.front());
        queue_.pop_front();
        return work;
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> queue_;
};

/// A wait that lasts until the test lets it end. Every wait is recorded with its length.
class ManualWaiter final : public Waiter {
  public:
    bool wait(double seconds, std::stop_token stop) override {
        std::unique_lock lock(mutex_);
        waits_.push_back(seconds);
        const std::size_t ticket = waits_.size();
        changed_.notify_all();
        return changed_.wait(lock, stop, [&] { return released_ >= ticket; }) && !stop.stop_requested();
    }

    /// Ends the oldest wait that still lasts, or the next one to begin.
    void release() {
        {
            const std::lock_guard guard(mutex_);
            ++released_;
        }
        changed_.notify_all();
    }

    /// Waits until the given number of waits have begun, ended ones included.
    bool awaitWaits(std::size_t count, std::chrono::seconds deadline = std::chrono::seconds(20)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, deadline, [&] { return waits_.size() >= count; });
    }

    /// The lengths of all waits so far, in seconds.
    std::vector<double> waits() const {
        const std::lock_guard guard(mutex_);
        return waits_;
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable_any changed_;
    std::vector<double> waits_;
    std::size_t released_ = 0;
};

/// Gives the readings that were queued, then repeats the last one.
class FakeCpuTickSource final : public CpuTickSource {
  public:
    using Reading = std::optional<std::vector<CpuTicks>>;

    bool readTicks(std::vector<CpuTicks>& ticks) override {
        ticks.clear();
        if (!queue.empty()) {
            last_ = std::move(queue.front());
            queue.pop_front();
        }
        if (!last_) return false;
        ticks = *last_;
        return true;
    }

    std::deque<Reading> queue;

  private:
    Reading last_;
};

class FakeMemoryCounterSource final : public MemoryCounterSource {
  public:
    MemoryReading readMemory() override { return reading; }

    MemoryReading reading;
};

class FakeMemoryPressureEventSource final : public MemoryPressureEventSource {
  public:
    std::unique_ptr<Subscription> subscribe(const std::string& queueLabel,
                                            std::function<void(MemoryPressureEvents)> handler) override {
        label = queueLabel;
        return subscribers.add(std::move(handler));
    }

    std::string label;
    FakeSubscribers<MemoryPressureEvents> subscribers;
};

class FakePowerSourceReader final : public PowerSourceReader {
  public:
    std::vector<PowerSourceDescription> readPowerSources() override {
        ++readings;
        return sources;
    }
    std::optional<BatteryRegistry> readBatteryRegistry() override { return registry; }

    std::vector<PowerSourceDescription> sources;
    std::optional<BatteryRegistry> registry;
    std::atomic<int> readings = 0;
};

class FakeLowPowerSource final : public LowPowerSource {
  public:
    bool isLowPowerModeEnabled() const override { return enabled; }
    std::unique_ptr<Subscription> subscribe(const std::function<void()>& handler) override {
        return subscribers.add(handler);
    }

    std::atomic<bool> enabled = false;
    FakeSubscribers<> subscribers;
};

class FakePowerChangeSource final : public PowerChangeSource {
  public:
    std::unique_ptr<Subscription> subscribe(const std::function<void()>& onChange) override {
        return subscribers.add(onChange);
    }

    FakeSubscribers<> subscribers;
};

class FakeThermalSource final : public ThermalSource {
  public:
    int thermalState() const override { return state; }

    std::atomic<int> state = 0;
};

class FakeMachineFacts final : public MachineFacts {
  public:
    MachineDescription describe() const override {
        ++descriptions;
        if (std::this_thread::get_id() == maker_) ++descriptionsOnMainThread;
        return description;
    }

    MachineDescription description;
    mutable std::atomic<int> descriptions = 0;
    mutable std::atomic<int> descriptionsOnMainThread = 0;  ///< of these, on the thread that made the fake

  private:
    std::thread::id maker_ = std::this_thread::get_id();
};

/// Keeps everything in memory and counts the writes.
class FakeDefaultsStore final : public DefaultsStore {
  public:
    std::optional<DefaultsValue> value(std::string_view key) const override {
        const auto found = values.find(key);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }
    void set(std::string_view key, const DefaultsValue& value) override {
        values.insert_or_assign(std::string(key), value);
        writes.emplace_back(key);
    }
    void remove(std::string_view key) override {
        if (const auto found = values.find(key); found != values.end()) values.erase(found);
        removals.emplace_back(key);
    }

    std::map<std::string, DefaultsValue, std::less<>> values;
    std::vector<std::string> writes;    ///< the keys of all `set` calls
    std::vector<std::string> removals;  ///< the keys of all `remove` calls
};

class FakeLoginItem final : public LoginItem {
  public:
    bool isEnabled() const override { return enabled; }
    std::optional<std::string> registerItem() override {
        ++registrations;
        if (failure) return failure;
        enabled = true;
        return std::nullopt;
    }
    std::optional<std::string> unregisterItem() override {
        ++unregistrations;
        if (failure) return failure;
        enabled = false;
        return std::nullopt;
    }

    bool enabled = false;
    std::optional<std::string> failure;  ///< what both operations answer
    int registrations = 0;
    int unregistrations = 0;
};

/// Records who asked for a background thread.
class FakeThreadSetup final : public ThreadSetup {
  public:
    void enterUtilityThread(const std::string& label) override {
        const std::lock_guard guard(mutex_);
        labels_.push_back(label);
    }
    std::vector<std::string> labels() const {
        const std::lock_guard guard(mutex_);
        return labels_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> labels_;
};

/// A whole machine made of fakes.
struct FakePlatform {
    FakeClock clock;
    ManualWaiter waiter;
    ManualExecutor executor;
    FakeThreadSetup threadSetup;
    FakeCpuTickSource cpuTicks;
    FakeMemoryCounterSource memoryCounters;
    FakeMemoryPressureEventSource memoryPressureEvents;
    FakeNetCounterSource netCounters;
    FakeVolumeCapacitySource volumeCapacity;
    FakeDriveHealthSource driveHealth;
    FakeProcessLister processes;
    FakeProcessSignaller processSignaller;
    FakePowerSourceReader powerSources;
    FakeLowPowerSource lowPower;
    FakePowerChangeSource powerChanges;
    FakeBluetoothQuery bluetoothQuery;
    FakeBluetoothFallback bluetoothFallback;
    FakePeripheralBatterySource peripheralBatteries;
    FakeThermalSource thermal;
    FakeMachineFacts machineFacts;
    FakeDefaultsStore defaults;
    FakeLoginItem loginItem;
    FakeNotificationService notifications{executor};

    Platform platform{clock,
                      waiter,
                      executor,
                      threadSetup,
                      cpuTicks,
                      memoryCounters,
                      memoryPressureEvents,
                      netCounters,
                      volumeCapacity,
                      driveHealth,
                      processes,
                      processSignaller,
                      powerSources,
                      lowPower,
                      powerChanges,
                      bluetoothQuery,
                      bluetoothFallback,
                      peripheralBatteries,
                      thermal,
                      machineFacts,
                      defaults,
                      loginItem,
                      notifications};
};

}  // namespace corvanta::test
