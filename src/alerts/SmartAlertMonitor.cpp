// SPDX-License-Identifier: Apache-2.0
#include "alerts/SmartAlertMonitor.h"

#include <QPointer>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <utility>

#include "alerts/rules/BatteryWearAlert.h"

namespace corvanta {
namespace {

/// The one of the highest score, of equal ones the first.
std::optional<Anomaly> strongest(const std::vector<Anomaly>& anomalies) {
    const auto found = std::max_element(anomalies.begin(), anomalies.end(),
                                        [](const Anomaly& a, const Anomaly& b) { return a.score < b.score; });
    return found == anomalies.end() ? std::nullopt : std::optional(*found);
}

}  // namespace

SmartAlertMonitor::SmartAlertMonitor(NotificationManager& notifications, AnomalyDetector& detector,
                                     const Clock& clock, Executor& mainExecutor, ThreadSetup& threadSetup)
    : notifications_(notifications),
      detector_(detector),
      clock_(clock),
      mainExecutor_(mainExecutor),
      tasks_(threadSetup) {}

SmartAlertMonitor::~SmartAlertMonitor() {
    tasks_.waitForAll();
}

void SmartAlertMonitor::checkSystemState(double cpuUsage, MemoryPressureLevel memoryPressure,
                                         const ProcessDetail* topCpuProcess,
                                         const ProcessDetail* topRamProcess,
                                         const std::vector<ProcessDetail>& allProcesses) {
    Q_ASSERT(thread() == QThread::currentThread());
    const Instant now = clock_.now();
    const bool isCpuHigh = cpuUsage >= cpuThreshold;  // a reading that is no number proves no load
    const bool isMemoryCritical = memoryPressure == MemoryPressureLevel::critical;
    if (!isCpuHigh) highCpuStartTime_.reset();
    if (!isMemoryCritical) highRamStartTime_.reset();
    if (isActive()) return;

    if (++trendCheckCounter_ >= trendCheckInterval) {
        trendCheckCounter_ = 0;
        checkHistoricalTrends();
    }
    if (isCpuHigh && isSustained(highCpuStartTime_, now)) {
        publishPerformanceAlert(topCpuProcess, allProcesses, "CPU", cpuUsage);
    }
    // Even where the processor has just raised an alert: memory that then stays critical begins its run here,
    // and raises its own as soon as that one is dismissed.
    if (isMemoryCritical && isSustained(highRamStartTime_, now)) {
        publishPerformanceAlert(topRamProcess, allProcesses, "RAM", cpuUsage);
    }
}

bool SmartAlertMonitor::isSustained(std::optional<Instant>& start, Instant now) {
    if (!start) {
        start = now;
        return false;
    }
    return (now - *start).count() >= sustainedTimeThreshold;
}

void SmartAlertMonitor::publishPerformanceAlert(const ProcessDetail* process,
                                                const std::vector<ProcessDetail>& allProcesses,
                                                const std::string& reason, double systemCPU) {
    if (!process) return;  // the runs go on, so the next sample tries again
    highCpuStartTime_.reset();
    highRamStartTime_.reset();

    const auto count = std::count_if(allProcesses.begin(), allProcesses.end(),
                                     [process](const ProcessDetail& p) { return p.name == process->name; });
    const bool isCpu = reason == "CPU";
    const ProactiveAlertPresentation words = ProactiveAlertPresentation::performance(
        process->name, count, reason, systemCPU, isCpu ? process->cpuUsage : process->ramUsage);
    show({.title = words.title,
          .message = words.message,
          .icon = words.systemImage,
          .color = isCpu ? ColorRole::orange : ColorRole::purple,
          .process = process->name,
          .destination = words.destination,
          .aiContext = words.aiContext});
    notifications_.notifyProactiveAlert(processLabel(process->name, count), reason, words.message);
}

void SmartAlertMonitor::checkHistoricalTrends() {
    if (isActive() || isTrendChecking_) return;
    if (lastTrendAlertTime_ && (clock_.now() - *lastTrendAlertTime_).count() < trendAlertInterval) return;
    isTrendChecking_ = true;
    tasks_.compute<std::vector<Anomaly>>(
        "trends", [&detector = detector_](const std::stop_token&) { return detector.check(); }, mainExecutor_,
        [self = QPointer(this)](const std::optional<std::vector<Anomaly>>& anomalies) {
            if (self) self->finishTrendCheck(anomalies ? strongest(*anomalies) : std::nullopt);
        });
}

void SmartAlertMonitor::finishTrendCheck(const std::optional<Anomaly>& anomaly) {
    Q_ASSERT(thread() == QThread::currentThread());
    isTrendChecking_ = false;
    if (!anomaly || isActive()) return;
    lastTrendAlertTime_ = clock_.now();
    const std::string detail = anomaly->detail();
    show({.title = "Unusual activity",
          .message = detail,
          .icon = "waveform.path.ecg",
          .color = anomaly->score > severeScore ? ColorRole::red : ColorRole::orange,
          .process = alert_.process,
          .destination = SmartAlertDestination::history,
          .aiContext = std::nullopt});
    notifications_.notifyAnomaly(std::string(displayName(anomaly->metric)), detail);
}

void SmartAlertMonitor::checkThermalState(const std::string& state) {
    Q_ASSERT(thread() == QThread::currentThread());
    if (state == lastThermalState_) return;
    lastThermalState_ = state;
    if (state == "Serious" || state == "Critical") notifications_.notifyThermalThrottling(state);
}

void SmartAlertMonitor::checkBatteryLifecycle(std::optional<std::int64_t> cycles,
                                              std::optional<std::int64_t> health) {
    Q_ASSERT(thread() == QThread::currentThread());
    if (isActive()) return;
    const auto wear = batteryWearAlert(cycles, health);
    if (!wear) {
        lastBatteryLifecycleSignature_.reset();
        return;
    }
    if (wear->signature == lastBatteryLifecycleSignature_) return;
    lastBatteryLifecycleSignature_ = wear->signature;
    show({.title = std::string(BatteryWearAlert::title),
          .message = wear->message,
          .icon = std::string(BatteryWearAlert::systemImage),
          .color = ColorRole::orange,
          .process = alert_.process,
          .destination = SmartAlertDestination::none,
          .aiContext = std::nullopt});
}

void SmartAlertMonitor::dismissAlert() {
    Q_ASSERT(thread() == QThread::currentThread());
    show({.title = std::nullopt,
          .message = std::nullopt,
          .icon = alert_.icon,
          .color = alert_.color,
          .process = std::nullopt,
          .destination = SmartAlertDestination::none,
          .aiContext = std::nullopt});
}

void SmartAlertMonitor::show(Alert alert) {
    if (alert == alert_) return;
    alert_ = std::move(alert);
    Q_EMIT changed();
}

}  // namespace corvanta
