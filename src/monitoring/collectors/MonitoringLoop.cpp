// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/MonitoringLoop.h"

#include <array>
#include <utility>

namespace corvanta {
namespace {

constexpr double powerChangeDelay = 0.1;
constexpr double powerChangeRetryDelay = 0.2;
constexpr int powerChangeRetries = 4;

}  // namespace

std::shared_ptr<MonitoringLoop> MonitoringLoop::create(const Platform& platform, CollectorSet collectors,
                                                       Publish publish) {
    return std::shared_ptr<MonitoringLoop>(
        new MonitoringLoop(platform, std::move(collectors), std::move(publish)));
}

MonitoringLoop::MonitoringLoop(const Platform& platform, CollectorSet collectors, Publish publish)
    : clock_(platform.clock),
      waiter_(platform.waiter),
      mainExecutor_(platform.mainExecutor),
      lowPower_(platform.lowPower),
      machineFacts_(platform.machineFacts),
      collectors_(std::move(collectors)),
      publish_(std::make_shared<Publish>(std::move(publish))),
      tasks_(platform.threadSetup),
      workers_(6, platform.threadSetup, "com.corvanta.collector") {}

MonitoringLoop::~MonitoringLoop() {
    tasks_.cancelAll();
}

void MonitoringLoop::startMonitoring() {
    monitoringTask_.request_stop();
    monitoringTask_ = tasks_.start("com.corvanta.monitor",
                                   [weak = weak_from_this(), &waiter = waiter_](const std::stop_token& stop) {
                                       runLoop(weak, waiter, stop);
                                   });
}

void MonitoringLoop::runLoop(const std::weak_ptr<MonitoringLoop>& weak, Waiter& waiter,
                             const std::stop_token& stop) {
    while (true) {
        double interval = 0;
        if (const auto loop = weak.lock()) {
            loop->updateMetrics(stop);
            interval = loop->interval_;
        }
        if (stop.stop_requested() || weak.expired()) return;
        if (!waiter.wait(interval, stop)) return;
    }
}

void MonitoringLoop::requestCycle() {
    tasks_.start("com.corvanta.refresh", [weak = weak_from_this()](const std::stop_token& stop) {
        if (const auto loop = weak.lock()) loop->updateMetrics(stop);
    });
}

void MonitoringLoop::refreshBatteryAfterPowerSourceChange() {
    tasks_.start("com.corvanta.power",
                 [weak = weak_from_this(), &waiter = waiter_](const std::stop_token& stop) {
                     runPowerChange(weak, waiter, stop);
                 });
}

void MonitoringLoop::runPowerChange(const std::weak_ptr<MonitoringLoop>& weak, Waiter& waiter,
                                    const std::stop_token& stop) {
    if (weak.expired() || !waiter.wait(powerChangeDelay, stop)) return;
    for (int attempt = 0;; ++attempt) {
        if (const auto loop = weak.lock()) {
            loop->collectors_.battery->invalidateCache();
            if (loop->updateMetrics(stop) == Outcome::completed) return;
        } else {
            return;
        }
        if (attempt == powerChangeRetries || !waiter.wait(powerChangeRetryDelay, stop)) return;
    }
}

MonitoringLoop::Outcome MonitoringLoop::updateMetrics(const std::stop_token& stop) {
    return cycleCoordinator_.run([&] { collectAndPublishMetrics(stop); });
}

CycleReadings MonitoringLoop::collect(const std::stop_token& stop) {
    CycleReadings readings;
    const std::array<WorkerPool::Job, 6> jobs = {
        [&] { readings.cpuUsage = collectors_.cpu->getCPUUsage(); },
        [&] { readings.ram = collectors_.ram->getRAMUsage(); },
        [&] { readings.disk = collectors_.disk->getDiskUsage(clock_.systemUptime()); },
        [&] {
            readings.battery = collectors_.battery->getBatteryUsage(clock_.systemUptime());
            lowPower_.refresh();
        },
        [&] { readings.network = collectors_.network->getNetworkSpeed(); },
        [&] { readings.processes = collectors_.processes->getAllProcesses(false, clock_.systemUptime()); },
    };
    // The jobs don't inherit the cycle's cancellation; a handler passes it on to all six.
    std::stop_source jobsStop;
    const std::stop_callback cancelJobs(stop, [&] { jobsStop.request_stop(); });
    workers_.runAll(jobs, jobsStop.get_token());
    return readings;
}

void MonitoringLoop::collectAndPublishMetrics(const std::stop_token& stop) {
    const auto readings = std::make_shared<CycleReadings>(collect(stop));
    if (stop.stop_requested()) return;
    readings->isLowPowerModeEnabled = lowPower_.isLowPowerModeEnabled();
    if (!machine_) machine_ = std::make_shared<const MachineDescription>(machineFacts_.describe());
    readings->machine = machine_;

    const auto isPublished = std::make_shared<std::atomic<bool>>(false);
    mainExecutor_.post([weak = weak_from_this(), readings, isPublished] {
        const auto loop = weak.lock();
        if (!loop) return;
        if (const auto publish = loop->publish_; publish && *publish) (*publish)(*readings);
        {
            LockGuard guard(loop->publishMutex_);
            *isPublished = true;
        }
        loop->published_.notifyAll();
    });

    LockGuard guard(publishMutex_);
    while (!*isPublished && !isClosed_) published_.wait(publishMutex_);
}

void MonitoringLoop::close() {
    publish_.reset();
    {
        LockGuard guard(publishMutex_);
        isClosed_ = true;
    }
    published_.notifyAll();
    tasks_.cancelAll();
    tasks_.waitForAll();
}

}  // namespace corvanta
