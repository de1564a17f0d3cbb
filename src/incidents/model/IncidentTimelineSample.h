// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Instant.h"
#include "core/MemoryPressureLevel.h"
#include "incidents/model/NetworkTotal.h"

namespace corvanta {

/// One row of history, as an incident's timeline shows it.
struct IncidentTimelineSample {
    std::int64_t id = 0;  ///< of its row
    Instant timestamp;
    double cpuUsage = 0;        ///< percent, whole machine
    double memoryPressure = 0;  ///< percent, the estimate
    MemoryPressureLevel memoryPressureState = MemoryPressureLevel::unavailable;
    double uploadSpeed = 0;    ///< bytes per second
    double downloadSpeed = 0;  ///< bytes per second
    std::optional<std::int64_t> batteryPercentage;
    std::optional<bool> isCharging;
    std::string thermalState = "Unknown";  ///< a thermal word
    std::optional<std::string> topCPUProcess;
    double topCPUUsage = 0;  ///< percent of that process
    std::optional<std::string> topRAMProcess;
    std::uint64_t topRAMBytes = 0;  ///< resident bytes of that process

    double networkBytesPerSecond() const { return networkTotal(uploadSpeed, downloadSpeed); }

    bool operator==(const IncidentTimelineSample&) const = default;
};

}  // namespace corvanta
