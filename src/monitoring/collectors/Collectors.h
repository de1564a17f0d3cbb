// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/MetricTypes.h"
#include "core/SMARTStatus.h"
#include "platform/Platform.h"

namespace corvanta {

/// The sampled processes, in the collector's order. Cycles between two refreshes share one list.
using ProcessList = std::shared_ptr<const std::vector<ProcessDetail>>;

// What the monitoring cycle asks of its collectors. Each is owned by the monitoring loop and called from a
// worker thread, one call at a time; what the comments allow on other threads may overlap with that call. A
// collector never fails: it returns a usable value, as told with each. The bases are machines without the
// thing measured.

class CPUCollector {
  public:
    virtual ~CPUCollector() = default;
    /// Load of the whole machine since the last call in percent, 0 to 100.
    virtual double getCPUUsage() { return 0; }
};

class RAMCollector {
  public:
    virtual ~RAMCollector() = default;
    virtual RAMDetails getRAMUsage() { return {}; }
};

class DiskCollector {
  public:
    virtual ~DiskCollector() = default;
    /// `now` is the system uptime in seconds.
    virtual DiskUsage getDiskUsage(double /*now*/) { return {}; }
    /// Lets the next call read afresh. Any thread.
    virtual void invalidateUsageCache() {}
    /// The last verdict on the drive, and its name. Any thread.
    virtual SMARTStatus smartStatus() const { return SMARTStatus::unknown; }
    virtual std::string diskModel() const { return "Unknown"; }
    /// Whether these two are still being asked for. Any thread.
    virtual bool isAskingDrives() const { return false; }
};

class BatteryCollector {
  public:
    virtual ~BatteryCollector() = default;
    /// `now` is the system uptime in seconds. Absent on a machine without a battery.
    virtual std::optional<BatteryDetails> getBatteryUsage(double /*now*/) { return std::nullopt; }
    /// Lets the next call read afresh. Any thread.
    virtual void invalidateCache() {}
};

class NetworkCollector {
  public:
    virtual ~NetworkCollector() = default;
    virtual NetworkSpeed getNetworkSpeed() { return {}; }
};

class ProcessCollector {
  public:
    virtual ~ProcessCollector() = default;
    /// `nowUptime` is the system uptime in seconds. Never null.
    virtual ProcessList getAllProcesses(bool /*forceRefresh*/, double /*nowUptime*/) {
        static const ProcessList& none = *new ProcessList(std::make_shared<std::vector<ProcessDetail>>());
        return none;
    }
};

/// Remembers the level that the system itself has announced.
class MemoryPressureCollector {
  public:
    virtual ~MemoryPressureCollector() = default;
    /// Any thread.
    virtual MemoryPressureLevel currentLevel() const { return MemoryPressureLevel::unavailable; }
};

/// One collector per source. None is null.
struct CollectorSet {
    std::unique_ptr<CPUCollector> cpu = std::make_unique<CPUCollector>();
    std::unique_ptr<RAMCollector> ram = std::make_unique<RAMCollector>();
    std::unique_ptr<DiskCollector> disk = std::make_unique<DiskCollector>();
    std::unique_ptr<BatteryCollector> battery = std::make_unique<BatteryCollector>();
    std::unique_ptr<NetworkCollector> network = std::make_unique<NetworkCollector>();
    std::unique_ptr<ProcessCollector> processes = std::make_unique<ProcessCollector>();
    std::unique_ptr<MemoryPressureCollector> memoryPressure = std::make_unique<MemoryPressureCollector>();
};

/// Makes the collectors of a machine in the order CPU, memory, disk, battery, network, processes, memory
/// pressure.
CollectorSet makeCollectorSet(const Platform& platform);

}  // namespace corvanta
