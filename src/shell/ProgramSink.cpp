// SPDX-License-Identifier: Apache-2.0
#include "shell/ProgramSink.h"

namespace corvanta {

ProgramSink::ProgramSink(DatabaseManager& database, IncidentDetector& detector,
                         NotificationManager& notifications, SmartAlertMonitor& alerts)
    : database_(database), detector_(detector), notifications_(notifications), alerts_(alerts) {}

void ProgramSink::notifyBatteryCycleIncreased(std::int64_t from, std::int64_t to,
                                              std::optional<std::int64_t> health) {
    notifications_.notifyBatteryCycleIncreased(from, to, health);
}

void ProgramSink::notifyMemoryPressure(MemoryPressureLevel level) {
    notifications_.notifyMemoryPressure(level);
}

void ProgramSink::checkSystemState(double cpuUsage, MemoryPressureLevel memoryPressure,
                                   const ProcessDetail* topCpuProcess, const ProcessDetail* topRamProcess,
                                   const std::vector<ProcessDetail>& allProcesses) {
    alerts_.checkSystemState(cpuUsage, memoryPressure, topCpuProcess, topRamProcess, allProcesses);
}

void ProgramSink::checkThermalState(const std::string& state) {
    alerts_.checkThermalState(state);
}

void ProgramSink::checkBatteryLifecycle(std::optional<std::int64_t> cycles,
                                        std::optional<std::int64_t> health) {
    alerts_.checkBatteryLifecycle(cycles, health);
}

void ProgramSink::observe(const IncidentObservation& observation) {
    detector_.observe(observation);
}

BatteryAlertDecision ProgramSink::observeBattery(std::int64_t percentage, bool isPluggedIn,
                                                 std::int64_t lowThreshold, bool lowBatteryEnabled) {
    return batteryAlertTracker_.observe(percentage, isPluggedIn, lowThreshold, lowBatteryEnabled);
}

void ProgramSink::notifyLowBattery(std::int64_t percentage) {
    notifications_.notifyLowBattery(percentage);
}

void ProgramSink::notifyBatteryDischargeMilestone(std::int64_t percentage) {
    notifications_.notifyBatteryDischargeMilestone(percentage);
}

void ProgramSink::insertSnapshot(const SnapshotValues& values) {
    database_.insertSnapshot(values);
}

void ProgramSink::recordPersistedObservation(const IncidentObservation& observation) {
    detector_.recordPersistedObservation(observation);
}

bool ProgramSink::isRecording() {
    return database_.isRecording();
}

void ProgramSink::insertSessionSample(const SessionSampleValues& values) {
    database_.insertSessionSample(values);
}

}  // namespace corvanta
