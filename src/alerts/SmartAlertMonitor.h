// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <optional>
#include <string>
#include <vector>

#include "alerts/NotificationManager.h"
#include "alerts/rules/AnomalyDetector.h"
#include "alerts/rules/ProactiveAlertPresentation.h"
#include "alerts/rules/SmartAlertDestination.h"
#include "core/Clock.h"
#include "core/ColorRole.h"
#include "core/Executor.h"
#include "core/MemoryPressureLevel.h"
#include "core/MetricTypes.h"
#include "platform/BackgroundTasks.h"

namespace corvanta {

/// Turns samples into the one alert that the program shows of itself: a sustained load, memory that stays
/// critical, activity that is unusual for this machine, or a worn battery. Heat is only notified.
///
/// Owned by main() for the program's life; it forgets everything at the end. Main thread only, but that the
/// history is looked through for anomalies in the background. An alert stays until it is dismissed, and is
/// raised whether its notification passes or not. There is no error path.
class SmartAlertMonitor final : public QObject {
    Q_OBJECT

  public:
    static constexpr double cpuThreshold = 85.0;            ///< percent, inclusive
    static constexpr double sustainedTimeThreshold = 60.0;  ///< seconds of wall clock, inclusive
    static constexpr int trendCheckInterval = 30;           ///< samples
    static constexpr double trendAlertInterval = 3600.0;    ///< seconds from one anomaly's alert to the next
    static constexpr double severeScore = 6.0;              ///< of an anomaly; above it the alert is red

    /// All outlive the monitor. All but the notifications also outlive a look through the history that hangs
    /// while the monitor goes.
    SmartAlertMonitor(NotificationManager& notifications, AnomalyDetector& detector, const Clock& clock,
                      Executor& mainExecutor, ThreadSetup& threadSetup);
    /// Waits for a check that runs, but not for one that hangs.
    ~SmartAlertMonitor() override;

    // The active alert. The message tells whether there is one.
    const std::optional<std::string>& activeAlertTitle() const { return alert_.title; }
    const std::optional<std::string>& activeAlertMessage() const { return alert_.message; }
    const std::string& activeAlertIcon() const { return alert_.icon; }  ///< a name of the icon table
    ColorRole activeAlertColor() const { return alert_.color; }
    /// The process that could be stopped.
    const std::optional<std::string>& activeAlertProcess() const { return alert_.process; }
    SmartAlertDestination activeAlertDestination() const { return alert_.destination; }
    const std::optional<SmartAlertAIContext>& activeAlertAIContext() const { return alert_.aiContext; }

    // Once a sample, in this order. The processes are null when there are none.

    void checkSystemState(double cpuUsage, MemoryPressureLevel memoryPressure,
                          const ProcessDetail* topCpuProcess, const ProcessDetail* topRamProcess,
                          const std::vector<ProcessDetail>& allProcesses);
    /// One of the thermal words.
    void checkThermalState(const std::string& state);
    void checkBatteryLifecycle(std::optional<std::int64_t> cycles, std::optional<std::int64_t> health);

    void dismissAlert();

    /// Whether the history is being looked through.
    bool isTrendChecking() const { return isTrendChecking_; }

  Q_SIGNALS:
    /// The active alert is another than before.
    void changed();

  private:
    struct Alert {
        std::optional<std::string> title;
        std::optional<std::string> message;
        std::string icon = "sparkles";
        ColorRole color = ColorRole::purple;
        std::optional<std::string> process;
        SmartAlertDestination destination = SmartAlertDestination::none;
        std::optional<SmartAlertAIContext> aiContext;

        bool operator==(const Alert&) const = default;
    };

    bool isActive() const { return alert_.message.has_value(); }
    void show(Alert alert);
    /// Whether a run that began at `start` has been sustained; one that has not begun begins now.
    static bool isSustained(std::optional<Instant>& start, Instant now);
    void publishPerformanceAlert(const ProcessDetail* process, const std::vector<ProcessDetail>& allProcesses,
                                 const std::string& reason, double systemCPU);
    void checkHistoricalTrends();
    void finishTrendCheck(const std::optional<Anomaly>& anomaly);

    // Constant after construction.
    NotificationManager& notifications_;
    AnomalyDetector& detector_;
    const Clock& clock_;
    Executor& mainExecutor_;

    // Main thread only.
    Alert alert_;
    std::optional<Instant> highCpuStartTime_;
    std::optional<Instant> highRamStartTime_;
    int trendCheckCounter_ = 0;
    std::optional<Instant> lastTrendAlertTime_;
    bool isTrendChecking_ = false;
    std::string lastThermalState_ = "Nominal";
    std::optional<std::string> lastBatteryLifecycleSignature_;
    BackgroundTasks tasks_;
};

}  // namespace corvanta
