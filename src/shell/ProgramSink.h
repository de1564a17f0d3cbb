// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "alerts/NotificationManager.h"
#include "alerts/SmartAlertMonitor.h"
#include "alerts/rules/BatteryAlertTracker.h"
#include "incidents/IncidentDetector.h"
#include "monitoring/PublishSink.h"
#include "storage/DatabaseManager.h"

namespace corvanta {

/// What the running program does with each published sample: it keeps it, watches it for incidents, and
/// warns.
///
/// Owned by main() and outlives the monitor. Main thread only. Nothing here fails: what the store can't take
/// is lost.
class ProgramSink final : public PublishSink {
  public:
    /// All outlive the sink.
    ProgramSink(DatabaseManager& database, IncidentDetector& detector, NotificationManager& notifications,
                SmartAlertMonitor& alerts);

    void notifyBatteryCycleIncreased(std::int64_t from, std::int64_t to,
                                     std::optional<std::int64_t> health) override;
    void notifyMemoryPressure(MemoryPressureLevel level) override;
    void checkSystemState(double cpuUsage, MemoryPressureLevel memoryPressure,
                          const ProcessDetail* topCpuProcess, const ProcessDetail* topRamProcess,
                          const std::vector<ProcessDetail>& allProcesses) override;
    void checkThermalState(const std::string& state) override;
    void checkBatteryLifecycle(std::optional<std::int64_t> cycles,
                               std::optional<std::int64_t> health) override;
    void observe(const IncidentObservation& observation) override;
    BatteryAlertDecision observeBattery(std::int64_t percentage, bool isPluggedIn, std::int64_t lowThreshold,
                                        bool lowBatteryEnabled) override;
    void notifyLowBattery(std::int64_t percentage) override;
    void notifyBatteryDischargeMilestone(std::int64_t percentage) override;
    void insertSnapshot(const SnapshotValues& values) override;
    void recordPersistedObservation(const IncidentObservation& observation) override;
    bool isRecording() override;
    void insertSessionSample(const SessionSampleValues& values) override;

  private:
    DatabaseManager& database_;
    IncidentDetector& detector_;
    NotificationManager& notifications_;
    SmartAlertMonitor& alerts_;

    BatteryAlertTracker batteryAlertTracker_;
};

}  // namespace corvanta
