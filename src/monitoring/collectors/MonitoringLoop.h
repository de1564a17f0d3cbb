// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "core/Mutex.h"
#include "monitoring/collectors/Collectors.h"
#include "monitoring/collectors/MonitoringCycleCoordinator.h"
#include "monitoring/collectors/WorkerPool.h"
#include "platform/BackgroundTasks.h"
#include "platform/Platform.h"

namespace corvanta {

/// The six results of one cycle, with what is read after them.
struct CycleReadings {
    double cpuUsage = 0;
    RAMDetails ram;
    DiskUsage disk;
    std::optional<BatteryDetails> battery;
    NetworkSpeed network;
    ProcessList processes;  ///< never null in a published reading
    bool isLowPowerModeEnabled = false;
    std::shared_ptr<const MachineDescription> machine;  ///< in a published reading never null, and the same

    bool operator==(const CycleReadings&) const = default;
};

/// The background half of the monitor: runs the cycles, gathers their readings on worker threads and hands
/// each to the publish step on the main thread.
///
/// Made and held by SystemMonitor; its tasks hold it weakly between rounds. It has no error path: a collector
/// always returns a usable value.
class MonitoringLoop : public std::enable_shared_from_this<MonitoringLoop> {
  public:
    using Outcome = MonitoringCycleCoordinator::Outcome;
    using Publish = std::function<void(const CycleReadings&)>;

    /// `publish` is called on the main thread only, and never again once `close` has returned.
    static std::shared_ptr<MonitoringLoop> create(const Platform& platform, CollectorSet collectors,
                                                  Publish publish);
    ~MonitoringLoop();

    const CollectorSet& collectors() const { return collectors_; }

    /// Seconds from the end of a cycle to the start of the next. A wait in progress is not shortened. Any
    /// thread.
    void setInterval(double seconds) { interval_ = seconds; }

    /// Cancels a running loop and starts a new one, whose first cycle runs at once. Main thread.
    void startMonitoring();

    /// Starts one cycle in the background; it lapses when another is running. Any thread.
    void requestCycle();

    /// Tries up to five times, at short intervals, to have the battery read again. Any thread.
    void refreshBatteryAfterPowerSourceChange();

    /// Cancels everything and waits for the tasks to end, but not for a collector that hangs. Main thread.
    void close() EXCLUDES(publishMutex_);

    /// Runs one cycle and returns when its publish step has; or returns at once when a cycle is running.
    /// Blocks; background threads only.
    Outcome updateMetrics(const std::stop_token& stop);

    /// The gathering alone, without publishing: what a cycle starts with. Blocks its caller; never beside a
    /// cycle.
    CycleReadings collect(const std::stop_token& stop);

  private:
    MonitoringLoop(const Platform& platform, CollectorSet collectors, Publish publish);

    void collectAndPublishMetrics(const std::stop_token& stop) EXCLUDES(publishMutex_);
    static void runLoop(const std::weak_ptr<MonitoringLoop>& weak, Waiter& waiter,
                        const std::stop_token& stop);
    static void runPowerChange(const std::weak_ptr<MonitoringLoop>& weak, Waiter& waiter,
                               const std::stop_token& stop);

    // Constant after construction; the collectors guard themselves.
    Clock& clock_;
    Waiter& waiter_;
    Executor& mainExecutor_;
    LowPowerSource& lowPower_;
    const MachineFacts& machineFacts_;
    CollectorSet collectors_;

    // Any thread.
    MonitoringCycleCoordinator cycleCoordinator_;
    std::atomic<double> interval_ = 2.0;

    // The running cycle only.
    std::shared_ptr<const MachineDescription> machine_;  // null until the first cycle has asked

    // Main thread only.
    std::shared_ptr<Publish> publish_;
    std::stop_source monitoringTask_{std::nostopstate};

    Mutex publishMutex_;
    Condition published_;
    bool isClosed_ GUARDED_BY(publishMutex_) = false;

    BackgroundTasks tasks_;
    WorkerPool workers_;  // last: its threads use the collectors
};

}  // namespace corvanta
