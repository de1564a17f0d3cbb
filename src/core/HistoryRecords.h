// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Instant.h"
#include "core/MemoryPressureLevel.h"

namespace corvanta {

/// One row of stored history, as read back.
struct SystemSnapshot {
    std::int64_t timestamp = 0;  ///< whole seconds since 1970
    double cpuUsage = 0;         ///< percent, 0 to 100
    double ramUsage = 0;         ///< percent; the memory pressure estimate, not a used-memory ratio
    double diskFree = 0;         ///< bytes free on the root volume
    double uploadSpeed = 0;      ///< bytes per second
    double downloadSpeed = 0;    ///< bytes per second
    double memoryPressure = 0;   ///< percent, the pressure estimate
    MemoryPressureLevel memoryPressureState = MemoryPressureLevel::unavailable;
    std::optional<std::string> thermalState;   ///< a thermal word
    std::optional<std::string> topCPUProcess;  ///< name of the busiest process
    double topCPUUsage = 0;                    ///< its CPU percent; 0 without a process

    bool operator==(const SystemSnapshot&) const = default;
};

/// What one row of history is written from. The fields stand in the order of the table's columns but for the
/// timestamp, which comes last.
struct SnapshotValues {
    double cpu = 0;       ///< percent
    double ram = 0;       ///< percent; the pressure estimate again
    double diskFree = 0;  ///< bytes
    double upload = 0;    ///< bytes per second
    double download = 0;  ///< bytes per second
    double pressure = 0;  ///< percent
    MemoryPressureLevel pressureState = MemoryPressureLevel::unavailable;
    std::string thermalState;  ///< stored as NULL when empty
    std::optional<std::int64_t> batteryPercentage;
    std::optional<bool> isCharging;
    std::optional<std::string> topCPUProcess;  ///< stored as NULL when absent or empty
    double topCPUUsage = 0;
    std::optional<std::string> topRAMProcess;  ///< stored as NULL when absent or empty
    std::uint64_t topRAMBytes = 0;
    Instant timestamp;

    bool operator==(const SnapshotValues&) const = default;
};

/// What one sample of a recording session is written from.
struct SessionSampleValues {
    double cpu = 0;
    double ram = 0;
    double diskFree = 0;
    double upload = 0;
    double download = 0;
    double pressure = 0;
    MemoryPressureLevel pressureState = MemoryPressureLevel::unavailable;
    std::string thermal;
    std::string topCpuName;  ///< empty without a process
    double topCpuUsage = 0;  ///< 0 without a process

    bool operator==(const SessionSampleValues&) const = default;
};

}  // namespace corvanta
