// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/Collectors.h"

#include "monitoring/collectors/BatteryMonitor.h"
#include "monitoring/collectors/CPUMonitor.h"
#include "monitoring/collectors/DiskMonitor.h"
#include "monitoring/collectors/NetworkMonitor.h"
#include "monitoring/collectors/ProcessMonitor.h"
#include "monitoring/collectors/RAMMonitor.h"
#include "monitoring/collectors/SystemMemoryPressureMonitor.h"

namespace corvanta {

CollectorSet makeCollectorSet(const Platform& platform) {
    CollectorSet set;
    set.cpu = std::make_unique<CPUMonitor>(platform.cpuTicks);
    set.ram = std::make_unique<RAMMonitor>(platform.memoryCounters);
    set.disk =
        std::make_unique<DiskMonitor>(platform.volumeCapacity, platform.driveHealth, platform.threadSetup);
    set.battery = std::make_unique<BatteryMonitor>(platform.powerSources);
    set.network = std::make_unique<NetworkMonitor>(platform.netCounters, platform.clock);
    set.processes = std::make_unique<ProcessMonitor>(platform.processes, platform.clock,
                                                     platform.memoryCounters.readMemory().physicalMemory);
    set.memoryPressure = std::make_unique<SystemMemoryPressureMonitor>(platform.memoryPressureEvents);
    return set;
}

}  // namespace corvanta
