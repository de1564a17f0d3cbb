// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Instant.h"
#include "core/MemoryPressureLevel.h"
#include "incidents/model/NetworkTotal.h"

namespace corvanta {

/// One monitoring sample as the incident logic sees it.
struct IncidentObservation {
    Instant timestamp;        ///< wall clock
    double systemUptime = 0;  ///< seconds on the clock that all durations are measured on
    double cpuUsage = 0;      ///< percent, whole machine
    MemoryPressureLevel memoryPressureState = MemoryPressureLevel::unavailable;  ///< the system's own level
    double estimatedMemoryPressure = 0;                                          ///< percent
    std::string thermalState;                                                    ///< a thermal word
    double uploadSpeed = 0;                                                      ///< bytes per second
    double downloadSpeed = 0;                                                    ///< bytes per second
    std::optional<std::int64_t> batteryPercentage;                               ///< absent without a battery
    std::optional<bool> isCharging;                                              ///< absent without a battery
    std::optional<std::string> topCPUProcess;
    double topCPUUsage = 0;  ///< percent of that process
    std::optional<std::string> topRAMProcess;
    std::uint64_t topRAMBytes = 0;  ///< resident bytes of that process

    double networkBytesPerSecond() const { return networkTotal(uploadSpeed, downloadSpeed); }

    bool operator==(const IncidentObservation&) const = default;
};

}  // namespace corvanta
