// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/BatteryAlertDecision.h"
#include "core/HistoryRecords.h"
#include "core/MetricTypes.h"
#include "incidents/model/IncidentObservation.h"

namespace corvanta {

/// The calls that leave the publish step, in the order in which a cycle makes them: alerts, incidents,
/// notifications and the store. The program fills it; this base takes every call and does nothing.
///
/// Owned by the program and outlives the monitor. Main thread only. Calls are expected to be quick or to hand
/// off their work, and never fail.
class PublishSink {
  public:
    virtual ~PublishSink() = default;

    virtual void notifyBatteryCycleIncreased(std::int64_t /*from*/, std::int64_t /*to*/,
                                             std::optional<std::int64_t> /*health*/) {}
    /// Called on each arrival in `warning` or `critical`, also from `critical` down to `warning`.
    virtual void notifyMemoryPressure(MemoryPressureLevel /*level*/) {}
    /// The processes are null when there are none.
    virtual void checkSystemState(double /*cpuUsage*/, MemoryPressureLevel /*memoryPressure*/,
                                  const ProcessDetail* /*topCpuProcess*/,
                                  const ProcessDetail* /*topRamProcess*/,
                                  const std::vector<ProcessDetail>& /*allProcesses*/) {}
    virtual void checkThermalState(const std::string& /*state*/) {}
    virtual void checkBatteryLifecycle(std::optional<std::int64_t> /*cycles*/,
                                       std::optional<std::int64_t> /*health*/) {}
    virtual void observe(const IncidentObservation& /*observation*/) {}
    /// Called whenever a percentage is known, also with notifications off.
    virtual BatteryAlertDecision observeBattery(std::int64_t /*percentage*/, bool /*isPluggedIn*/,
                                                std::int64_t /*lowThreshold*/, bool /*lowBatteryEnabled*/) {
        return {};
    }
    virtual void notifyLowBattery(std::int64_t /*percentage*/) {}
    virtual void notifyBatteryDischargeMilestone(std::int64_t /*percentage*/) {}
    /// At most every 10 seconds of wall clock.
    virtual void insertSnapshot(const SnapshotValues& /*values*/) {}
    /// Follows each `insertSnapshot`, with the observation that the row was made from.
    virtual void recordPersistedObservation(const IncidentObservation& /*observation*/) {}
    virtual bool isRecording() { return false; }
    /// Once a cycle while `isRecording`.
    virtual void insertSessionSample(const SessionSampleValues& /*values*/) {}
};

}  // namespace corvanta
