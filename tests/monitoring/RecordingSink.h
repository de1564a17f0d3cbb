// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "core/NumberText.h"
#include "monitoring/PublishSink.h"

namespace corvanta::test {

/// Writes every call down, with its arguments, as one line of text, and keeps the records that calls carry.
class RecordingSink final : public PublishSink {
  public:
    void notifyBatteryCycleIncreased(std::int64_t from, std::int64_t to,
                                     std::optional<std::int64_t> health) override {
        calls.push_back("notifyBatteryCycleIncreased " + integerText(from) + " " + integerText(to) + " " +
                        text(health));
    }
    void notifyMemoryPressure(MemoryPressureLevel level) override {
        calls.push_back("notifyMemoryPressure " + std::string(label(level)));
    }
    void checkSystemState(double cpuUsage, MemoryPressureLevel memoryPressure,
                          const ProcessDetail* topCpuProcess, const ProcessDetail* topRamProcess,
                          const std::vector<ProcessDetail>& allProcesses) override {
        calls.push_back("checkSystemState " + fixedText(cpuUsage, 1) + " " +
                        std::string(label(memoryPressure)) + " " +
                        (topCpuProcess ? topCpuProcess->name : "none") + " " +
                        (topRamProcess ? topRamProcess->name : "none") + " " +
                        integerText(static_cast<std::int64_t>(allProcesses.size())));
    }
    void checkThermalState(const std::string& state) override {
        calls.push_back("checkThermalState " + state);
    }
    void checkBatteryLifecycle(std::optional<std::int64_t> cycles,
                               std::optional<std::int64_t> health) override {
        calls.push_back("checkBatteryLifecycle " + text(cycles) + " " + text(health));
    }
    void observe(const IncidentObservation& observation) override {
        calls.emplace_back("observe");
        observations.push_back(observation);
    }
    BatteryAlertDecision observeBattery(std::int64_t percentage, bool isPluggedIn, std::int64_t lowThreshold,
                                        bool lowBatteryEnabled) override {
        calls.push_back("observeBattery " + integerText(percentage) +
                        (isPluggedIn ? " plugged " : " unplugged ") + integerText(lowThreshold) +
                        (lowBatteryEnabled ? " enabled" : " disabled"));
        return decision;
    }
    void notifyLowBattery(std::int64_t percentage) override {
        calls.push_back("notifyLowBattery " + integerText(percentage));
    }
    void notifyBatteryDischargeMilestone(std::int64_t percentage) override {
        calls.push_back("notifyBatteryDischargeMilestone " + integerText(percentage));
    }
    void insertSnapshot(const SnapshotValues& values) override {
        calls.emplace_back("insertSnapshot");
        snapshots.push_back(values);
    }
    void recordPersistedObservation(const IncidentObservation& observation) override {
        calls.emplace_back("recordPersistedObservation");
        persisted.push_back(observation);
    }
    bool isRecording() override {
        calls.emplace_back("isRecording");
        return recording;
    }
    void insertSessionSample(const SessionSampleValues& values) override {
        calls.emplace_back("insertSessionSample");
        sessionSamples.push_back(values);
    }

    /// The calls whose line begins with a word.
    std::vector<std::string> callsOf(const std::string& name) const {
        std::vector<std::string> found;
        for (const std::string& call : calls) {
            if (call.substr(0, call.find(' ')) == name) found.push_back(call);
        }
        return found;
    }

    std::vector<std::string> calls;
    std::vector<IncidentObservation> observations;
    std::vector<SnapshotValues> snapshots;
    std::vector<IncidentObservation> persisted;
    std::vector<SessionSampleValues> sessionSamples;
    BatteryAlertDecision decision;  ///< what the battery observation answers
    bool recording = false;

  private:
    static std::string text(std::optional<std::int64_t> value) {
        return value ? integerText(*value) : "absent";
    }
};

}  // namespace corvanta::test
