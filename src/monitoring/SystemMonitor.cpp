// SPDX-License-Identifier: Apache-2.0
#include "monitoring/SystemMonitor.h"

#include <QThread>
#include <algorithm>
#include <utility>

#include "core/HistoryRing.h"
#include "core/TextForms.h"
#include "core/UsageRank.h"

namespace corvanta {
namespace {

constexpr std::string_view lastKnownBatteryCycleCountKey = "lastKnownBatteryCycleCount";

// The first entries by `value`, largest first; equal ones keep their order.
std::vector<ProcessDetail> topList(const std::vector<ProcessDetail>& processes,
                                   double ProcessDetail::*value) {
    std::vector<const ProcessDetail*> order(processes.size());
    std::transform(processes.begin(), processes.end(), order.begin(),
                   [](const ProcessDetail& p) { return &p; });
    const auto middle =
        order.begin() + static_cast<std::ptrdiff_t>(std::min(order.size(), SystemMonitor::topListLength));
    const auto rank = [value](const ProcessDetail* p) { return usageRank(p->*value); };
    std::partial_sort(order.begin(), middle, order.end(),
                      [&](const ProcessDetail* a, const ProcessDetail* b) {
                          return rank(a) != rank(b) ? rank(a) > rank(b) : a < b;
                      });
    std::vector<ProcessDetail> top;
    std::transform(order.begin(), middle, std::back_inserter(top), [](const ProcessDetail* p) { return *p; });
    return top;
}

}  // namespace

SystemMonitor::SystemMonitor(const Platform& platform, AppSettings& settings, PublishSink& sink,
                             const MakeCollectors& makeCollectors)
    : platform_(platform),
      settings_(settings),
      sink_(sink),
      isLowPowerModeEnabled_(platform.lowPower.isLowPowerModeEnabled()),
      allProcesses_(std::make_shared<std::vector<ProcessDetail>>()) {
    loop_ = MonitoringLoop::create(platform, makeCollectors(platform),
                                   [this](const CycleReadings& readings) { publish(readings); });
    loop_->setInterval(timeInterval(settings.refreshFrequency()));
    settings.refreshFrequency.onChange(
        this, [this](RefreshFrequency frequency) { loop_->setInterval(timeInterval(frequency)); });

    lowPowerSubscription_ = platform.lowPower.subscribe([this] {
        isLowPowerModeEnabled_ = platform_.lowPower.isLowPowerModeEnabled();
        Q_EMIT changed();
    });
    powerChangeSubscription_ = platform.powerChanges.subscribe([weak = std::weak_ptr(loop_)] {
        if (const auto loop = weak.lock()) loop->refreshBatteryAfterPowerSourceChange();
    });
    loop_->startMonitoring();
}

SystemMonitor::~SystemMonitor() {
    powerChangeSubscription_.reset();
    lowPowerSubscription_.reset();
    loop_->close();
}

void SystemMonitor::setRequestedProcessSelection(std::optional<std::string> name) {
    Q_ASSERT(thread() == QThread::currentThread());
    requestedProcessSelection_ = std::move(name);
    Q_EMIT changed();
}

void SystemMonitor::refreshRateLimitedMetrics() {
    Q_ASSERT(thread() == QThread::currentThread());
    loop_->collectors().battery->invalidateCache();
    loop_->collectors().disk->invalidateUsageCache();
    loop_->requestCycle();
}

// The order of what follows is a promise to everything that the sink stands for.
void SystemMonitor::publish(const CycleReadings& readings) {
    Q_ASSERT(thread() == QThread::currentThread());
    cpuUsage_ = readings.cpuUsage;
    ram_ = readings.ram;
    disk_ = readings.disk;
    diskSmartStatus_ = loop_->collectors().disk->smartStatus();
    diskModel_ = loop_->collectors().disk->diskModel();
    isLowPowerModeEnabled_ = readings.isLowPowerModeEnabled;
    publishMachine(readings.machine);
    if (readings.battery) publishBattery(*readings.battery);
    appendToRing(cpuHistory_, readings.cpuUsage, historyLength);
    appendToRing(networkHistory_, {readings.network.upload, readings.network.download}, historyLength);
    network_ = readings.network;
    publishProcesses(readings.processes);
    memoryPressurePercentage_ = readings.ram.estimatedPressurePercentage;
    estimatedMemoryPressureLevel_ = readings.ram.estimatedPressureLevel;
    memoryPressureLevel_ = loop_->collectors().memoryPressure->currentLevel();
    observePressureLevel();
    sink_.checkSystemState(cpuUsage_, memoryPressureLevel_, busiest(), largest(), *allProcesses_);
    thermalState_ = thermalWord(platform_.thermal.thermalState());
    sink_.checkThermalState(thermalState_);
    sink_.checkBatteryLifecycle(batteryCycleCount_, batteryHealth_);
    const IncidentObservation observation = makeObservation(readings);
    sink_.observe(observation);
    sendBatteryAlerts();
    persist(observation);
    Q_EMIT changed();
}

void SystemMonitor::publishBattery(const BatteryDetails& details) {
    batteryPercentage_ = details.percentage;
    isBatteryCharging_ = details.isCharging;
    isBatteryPluggedIn_ = details.isPluggedIn;
    batteryCycleCount_ = details.cycleCount;
    batteryHealth_ = details.healthPercent;
    batteryTimeRemaining_ = details.timeRemaining;

    if (!details.cycleCount) return;
    // A count that went down (a replaced battery) never rewrites the key.
    const std::int64_t known = platform_.defaults.integerValue(lastKnownBatteryCycleCountKey).value_or(0);
    if (known >= 1 && known < *details.cycleCount) {
        sink_.notifyBatteryCycleIncreased(known, *details.cycleCount, details.healthPercent);
        platform_.defaults.set(lastKnownBatteryCycleCountKey, *details.cycleCount);
    } else if (known == 0) {
        platform_.defaults.set(lastKnownBatteryCycleCountKey, *details.cycleCount);
    }
}

void SystemMonitor::publishMachine(const std::shared_ptr<const MachineDescription>& machine) {
    if (machine == machine_) return;
    machine_ = machine;
    systemInfo_ = makeSystemInfo(*machine);
}

void SystemMonitor::publishProcesses(const ProcessList& processes) {
    if (processes == allProcesses_) return;  // the list of the last cycle again, and so its top lists
    allProcesses_ = processes;
    topCPU_ = topList(*processes, &ProcessDetail::cpuUsage);
    topRAM_ = topList(*processes, &ProcessDetail::ramUsage);
}

void SystemMonitor::observePressureLevel() {
    if (memoryPressureLevel_ == lastObservedPressureLevel_) return;
    if (isElevated(memoryPressureLevel_)) sink_.notifyMemoryPressure(memoryPressureLevel_);
    lastObservedPressureLevel_ = memoryPressureLevel_;
}

IncidentObservation SystemMonitor::makeObservation(const CycleReadings& readings) const {
    IncidentObservation observation;
    observation.timestamp = platform_.clock.now();
    observation.systemUptime = platform_.clock.systemUptime();
    observation.cpuUsage = cpuUsage_;
    observation.memoryPressureState = memoryPressureLevel_;
    observation.estimatedMemoryPressure = memoryPressurePercentage_;
    observation.thermalState = thermalState_;
    observation.uploadSpeed = network_.upload;
    observation.downloadSpeed = network_.download;
    // From this cycle's reading, not from what an earlier one left published.
    if (readings.battery) {
        observation.batteryPercentage = readings.battery->percentage;
        observation.isCharging = readings.battery->isCharging;
    }
    if (const ProcessDetail* process = busiest()) {
        observation.topCPUProcess = process->name;
        observation.topCPUUsage = process->cpuUsage;
    }
    if (const ProcessDetail* process = largest()) {
        observation.topRAMProcess = process->name;
        observation.topRAMBytes = process->residentBytes;
    }
    return observation;
}

void SystemMonitor::sendBatteryAlerts() {
    if (!batteryPercentage_) return;
    const bool notificationsEnabled = settings_.notificationsEnabled();
    const BatteryAlertDecision decision =
        sink_.observeBattery(*batteryPercentage_, isBatteryPluggedIn_, settings_.lowBatteryThreshold(),
                             notificationsEnabled && settings_.notifyOnLowBattery());
    if (!notificationsEnabled) return;
    if (decision.shouldNotifyLowBattery) {
        sink_.notifyLowBattery(*batteryPercentage_);
    } else if (decision.dischargeMilestone) {
        sink_.notifyBatteryDischargeMilestone(*decision.dischargeMilestone);
    }
}

void SystemMonitor::persist(const IncidentObservation& observation) {
    const double now = secondsSince1970(platform_.clock.now());
    if (now - lastDbInsertTime_ >= snapshotInterval) {
        sink_.insertSnapshot({.cpu = cpuUsage_,
                              .ram = memoryPressurePercentage_,
                              .diskFree = disk_.free,
                              .upload = network_.upload,
                              .download = network_.download,
                              .pressure = memoryPressurePercentage_,
                              .pressureState = memoryPressureLevel_,
                              .thermalState = thermalState_,
                              .batteryPercentage = observation.batteryPercentage,
                              .isCharging = observation.isCharging,
                              .topCPUProcess = observation.topCPUProcess,
                              .topCPUUsage = observation.topCPUUsage,
                              .topRAMProcess = observation.topRAMProcess,
                              .topRAMBytes = observation.topRAMBytes,
                              .timestamp = observation.timestamp});
        sink_.recordPersistedObservation(observation);
        lastDbInsertTime_ = now;
    }
    if (sink_.isRecording()) {
        sink_.insertSessionSample({.cpu = cpuUsage_,
                                   .ram = memoryPressurePercentage_,
                                   .diskFree = disk_.free,
                                   .upload = network_.upload,
                                   .download = network_.download,
                                   .pressure = memoryPressurePercentage_,
                                   .pressureState = memoryPressureLevel_,
                                   .thermal = thermalState_,
                                   .topCpuName = observation.topCPUProcess.value_or(""),
                                   .topCpuUsage = observation.topCPUUsage});
    }
}

}  // namespace corvanta
