// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Instant.h"
#include "core/MemoryPressureLevel.h"
#include "core/MetricTypes.h"

namespace corvanta {

class SystemMonitor;

/// What the one sentence is told from: the published values of SystemMonitor, in its units.
struct StatusFigures {
    std::string thermalState = "Nominal";
    MemoryPressureLevel memoryPressureLevel = MemoryPressureLevel::unavailable;
    double ramSwap = 0;                   ///< bytes
    std::optional<ProcessDetail> topCPU;  ///< the busiest process
    std::optional<ProcessDetail> topRAM;  ///< the largest process
    double cpuUsage = 0;                  ///< percent
    std::optional<std::int64_t> batteryPercentage;
    bool isBatteryCharging = false;
    std::optional<std::int64_t> batteryTimeRemaining;  ///< minutes
    std::optional<std::int64_t> batteryHealth;         ///< percent
    std::optional<std::int64_t> batteryCycleCount;
    double diskTotal = 0;  ///< bytes; 0 before the first reading
    double diskFree = 0;   ///< bytes

    bool operator==(const StatusFigures&) const = default;
};

/// The machine's state in one sentence: that of the first rule that matches. Heat comes before memory, memory
/// before the processor, that before battery and disk.
///
/// No state and no failure: what is absent matches no rule, nor does a figure that is infinite or no number.
namespace StatusSummaryEngine {

/// `minute` is that of the user's clock: the sentence for a calm machine changes with it.
std::string summarize(const StatusFigures& figures, int minute);

/// The same on what the monitor publishes now. Main thread only.
std::string summarize(const SystemMonitor& monitor, Instant now);

}  // namespace StatusSummaryEngine

}  // namespace corvanta
