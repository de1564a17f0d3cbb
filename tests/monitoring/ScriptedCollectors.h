// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "monitoring/collectors/Collectors.h"
#include "support/FakePlatform.h"

namespace corvanta::test {

/// What the scripted collectors answer, and what they were asked. Shared with the test, which sets values
/// between cycles.
struct CollectorScript {
    double cpu = 0;
    RAMDetails ram;
    DiskUsage disk;
    std::optional<BatteryDetails> battery;
    NetworkSpeed network;
    std::vector<ProcessDetail> processes;
    std::atomic<MemoryPressureLevel> level = MemoryPressureLevel::unavailable;
    std::atomic<SMARTStatus> smartStatus = SMARTStatus::unknown;

    std::function<void()> duringCpu;   ///< called inside the CPU reading
    std::function<void()> duringEach;  ///< called inside each of the six readings
    std::atomic<int> readings = 0;     ///< of all six together
    std::atomic<int> cpuReadings = 0;
    std::atomic<int> batteryInvalidations = 0;
    std::atomic<int> diskInvalidations = 0;
    std::atomic<double> diskNow = 0;
    std::atomic<double> batteryNow = 0;
    std::atomic<double> processesNow = 0;
    std::atomic<bool> processesForced = false;

    void noteReading() {
        ++readings;
        if (duringEach) duringEach();
    }
};

/// Collectors that answer by a script.
inline CollectorSet makeScriptedCollectors(const std::shared_ptr<CollectorScript>& script) {
    using Script = std::shared_ptr<CollectorScript>;
    struct Cpu final : CPUCollector {
        explicit Cpu(Script s) : script(std::move(s)) {}
        double getCPUUsage() override {
            script->noteReading();
            ++script->cpuReadings;
            if (script->duringCpu) script->duringCpu();
            return script->cpu;
        }
        Script script;
    };
    struct Ram final : RAMCollector {
        explicit Ram(Script s) : script(std::move(s)) {}
        RAMDetails getRAMUsage() override {
            script->noteReading();
            return script->ram;
        }
        Script script;
    };
    struct Disk final : DiskCollector {
        explicit Disk(Script s) : script(std::move(s)) {}
        DiskUsage getDiskUsage(double now) override {
            script->noteReading();
            script->diskNow = now;
            return script->disk;
        }
        void invalidateUsageCache() override { ++script->diskInvalidations; }
        SMARTStatus smartStatus() const override { return script->smartStatus; }
        std::string diskModel() const override { return "Test Drive"; }
        Script script;
    };
    struct Battery final : BatteryCollector {
        explicit Battery(Script s) : script(std::move(s)) {}
        std::optional<BatteryDetails> getBatteryUsage(double now) override {
            script->noteReading();
            script->batteryNow = now;
            return script->battery;
        }
        void invalidateCache() override { ++script->batteryInvalidations; }
        Script script;
    };
    struct Network final : NetworkCollector {
        explicit Network(Script s) : script(std::move(s)) {}
        NetworkSpeed getNetworkSpeed() override {
            script->noteReading();
            return script->network;
        }
        Script script;
    };
    struct Processes final : ProcessCollector {
        explicit Processes(Script s) : script(std::move(s)) {}
        ProcessList getAllProcesses(bool forceRefresh, double now) override {
            script->noteReading();
            script->processesForced = forceRefresh;
            script->processesNow = now;
            // Between two lists the last one is given again.
            if (!last || *last != script->processes)
                last = std::make_shared<std::vector<ProcessDetail>>(script->processes);
            return last;
        }
        Script script;
        ProcessList last;
    };
    struct Pressure final : MemoryPressureCollector {
        explicit Pressure(Script s) : script(std::move(s)) {}
        MemoryPressureLevel currentLevel() const override { return script->level; }
        Script script;
    };
    CollectorSet set;
    set.cpu = std::make_unique<Cpu>(script);
    set.ram = std::make_unique<Ram>(script);
    set.disk = std::make_unique<Disk>(script);
    set.battery = std::make_unique<Battery>(script);
    set.network = std::make_unique<Network>(script);
    set.processes = std::make_unique<Processes>(script);
    set.memoryPressure = std::make_unique<Pressure>(script);
    return set;
}

/// Starts a background task and waits until its thread has ended. False when that did not happen in time.
inline bool awaitEndOfTask(const FakeThreadSetup& setup, const std::string& label,
                           const std::function<void()>& start) {
    const auto threads = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                             std::filesystem::directory_iterator());
    };
    const auto begun = [&] {
        const std::vector<std::string> labels = setup.labels();
        return std::find(labels.begin(), labels.end(), label) != labels.end();
    };
    const auto before = threads();
    start();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!begun() || threads() > before) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

/// A place where a collector can be held in the middle of its reading.
class Hold {
  public:
    /// Blocks the caller until `open`.
    void pass() {
        std::unique_lock lock(mutex_);
        ++arrived_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return open_; });
    }
    bool awaitArrival() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [this] { return arrived_ > 0; });
    }
    void open() {
        {
            const std::lock_guard guard(mutex_);
            open_ = true;
        }
        changed_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int arrived_ = 0;
    bool open_ = false;
};

}  // namespace corvanta::test
