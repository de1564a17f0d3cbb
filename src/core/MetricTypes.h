// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/MemoryPressureLevel.h"

namespace corvanta {

/// One process as sampled.
struct ProcessDetail {
    std::int64_t id = 0;              ///< process id; 0 is the kernel
    std::string name;                 ///< "kernel_task" for id 0, "pid-{id}" when the system gives no name
    double cpuUsage = 0;              ///< percent of one core since the last sample; can exceed 100
    double ramUsage = 0;              ///< resident size as percent of physical memory
    double cpuTime = 0;               ///< cumulative user and system time, seconds
    std::int64_t threads = 0;         ///< thread count
    std::uint64_t residentBytes = 0;  ///< resident size
    std::string kind;                 ///< "Kernel" for id 0, otherwise "User"

    bool operator==(const ProcessDetail&) const = default;
};

/// One memory reading; all quantities are bytes.
struct RAMDetails {
    double available = 0;
    double active = 0;
    double wired = 0;
    double compressed = 0;
    double swap = 0;   ///< swap in use
    double total = 0;  ///< physical memory
    double estimatedPressurePercentage = 0;
    MemoryPressureLevel estimatedPressureLevel = MemoryPressureLevel::unavailable;

    bool operator==(const RAMDetails&) const = default;
};

/// Bytes per second, summed over the chosen interfaces.
struct NetworkSpeed {
    double upload = 0;
    double download = 0;

    bool operator==(const NetworkSpeed&) const = default;
};

/// The cumulative byte counters of one network interface.
struct InterfaceCounter {
    std::uint64_t bytesIn = 0;
    std::uint64_t bytesOut = 0;

    bool operator==(const InterfaceCounter&) const = default;
};

/// Space on the root volume, bytes.
struct DiskUsage {
    double free = 0;
    double total = 0;

    bool operator==(const DiskUsage&) const = default;
};

/// One battery reading.
struct BatteryDetails {
    std::int64_t percentage = 0;  ///< charge, 0 to 100
    bool isCharging = false;      ///< the power source says that it is charging
    bool isPluggedIn = false;     ///< running on external power
    /// Minutes, to full while charging, otherwise to empty.
    std::optional<std::int64_t> timeRemaining = std::nullopt;
    std::optional<std::int64_t> cycleCount = std::nullopt;
    /// Present maximum against design capacity, 0 to 100.
    std::optional<std::int64_t> healthPercent = std::nullopt;

    bool operator==(const BatteryDetails&) const = default;
};

}  // namespace corvanta
